// SPDX-License-Identifier: Apache-2.0
#include "PropertyListDocuments.h"

namespace vanto::bench {

namespace {

constexpr const char* prolog = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist SYSTEM "PropertyList.dtd">
<plist version="1.0">
)";

constexpr const char* info = R"(<dict>
	<key>BuildDate</key>
	<date>2026-11-21T08:00:00Z</date>
	<key>BuildNumber</key>
	<string>1482</string>
	<key>Copyright</key>
	<string>Copyright © 2026 The Echo Authors &amp; contributors</string>
	<key>Description</key>
	<string>Says again what it is told, in the words in which it was told, to whoever may ask</string>
	<key>DevelopmentRegion</key>
	<string>en</string>
	<key>DocumentTypes</key>
	<array>
		<dict>
			<key>Extensions</key>
			<array>
				<string>echo</string>
				<string>eco</string>
			</array>
			<key>Name</key>
			<string>Echo recording</string>
			<key>Role</key>
			<string>Editor</string>
		</dict>
	</array>
	<key>KorBundleExecutable</key>
	<string>EchoService</string>
	<key>KorBundleIdentifier</key>
	<string>org.example.host.EchoService</string>
	<key>MinimumSystemVersion</key>
	<string>6.1</string>
	<key>Name</key>
	<string>Echo Service</string>
	<key>ShortVersion</key>
	<string>2.4.1</string>
	<key>SupportsSuddenTermination</key>
	<true/>
	<key>VantoService</key>
	<dict>
		<key>AllowedClients</key>
		<array>
			<string>identifier "org.example.host" and signer "org.example"</string>
			<string>identifier "org.example.host.tool" and entitlement "org.example.echo"</string>
		</array>
		<key>EnvironmentVariables</key>
		<dict>
			<key>ECHO_CACHE</key>
			<string>${HOME}/.cache/echo</string>
			<key>ECHO_LEVEL</key>
			<string>info</string>
		</dict>
		<key>IdleTimeout</key>
		<integer>300</integer>
		<key>JoinExistingSession</key>
		<false/>
		<key>MultipleInstances</key>
		<false/>
		<key>Priority</key>
		<real>0.5</real>
		<key>ServiceType</key>
		<string>Application</string>
	</dict>
	<key>Version</key>
	<string>2.4.1 (1482)</string>
</dict>
)";

constexpr const char* epilog = "</plist>\n";

void appendService(std::string& document, std::size_t number) {
  const std::string name = std::to_string(number);
  document += "\t<dict>\n\t\t<key>Arguments</key>\n\t\t<array>\n\t\t\t<string>--instance</string>\n\t\t\t<string>";
  document += name;
  document +=
      "</string>\n\t\t</array>\n\t\t<key>Enabled</key>\n\t\t<" + std::string(number % 3 == 0 ? "true" : "false");
  document += "/>\n\t\t<key>Identifier</key>\n\t\t<string>org.example.host.service-" + name;
  document += "</string>\n\t\t<key>Limit</key>\n\t\t<integer>" + std::to_string(number * 7919);
  document += "</integer>\n\t\t<key>Path</key>\n\t\t<string>/opt/example/Services/Service " + name;
  document += ".service/Contents/Linux/Service</string>\n\t\t<key>Summary</key>\n\t\t<string>Answers requests of kind ";
  document += name + " &amp; those of its successors, one at a time</string>\n\t\t<key>Weight</key>\n\t\t<real>0.";
  document += name + "</real>\n\t</dict>\n";
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
}

std::string pathOf(std::size_t number) {
  return "/opt/example/Host/Contents/VantoServices/EchoService" + std::to_string(number) + ".vanto";
}

/// The service dictionary as it lies in an Info document.
std::string serviceDictionary() {
  const std::string document = info;
  const std::size_t begin = document.find("<dict>", document.find("<key>VantoService</key>"));
  return document.substr(begin, document.find("\n\t</dict>", begin) + 9 - begin);
}

}  // namespace

std::string infoDocument() {
  return std::string(prolog) + info + epilog;
}

std::string infoDocument(std::size_t number) {
  std::string document = infoDocument();
  replaceAll(document, "EchoService", "EchoService" + std::to_string(number));
  return document;
}

std::string archiveElement(std::size_t number) {
  const std::string identifier = "org.example.host.EchoService" + std::to_string(number);
  const std::string executable = pathOf(number) + "/Contents/Linux/EchoService" + std::to_string(number);
  std::string element = "<dict><key>_serviceIdentifier</key><string>" + identifier + "</string>";
  element += "<key>_executablePath</key><string>" + executable + "</string>";
  element += "<key>_serviceType</key><integer>1</integer><key>_serviceDictionary</key>" + serviceDictionary();
  element += "<key>_tolvendJobDictionary</key><dict><key>Label</key><string>" + identifier + "</string>";
  element += "<key>Program</key><string>/usr/libexec/vantoproxy</string><key>ProgramArguments</key><array><string>";
  element += "/usr/libexec/vantoproxy</string><string>" + executable + "</string></array>";
  element += "<key>Services</key><dict><key>" + identifier + "</key><dict><key>Listening</key><true/></dict>";
  element += "</dict><key>Enabled</key><true/><key>MultipleInstances</key><false/>";
  element += "<key>EnvironmentVariables</key><dict><key>ECHO_LEVEL</key><string>info</string></dict>";
  return element + "<key>Session</key><string>Application</string></dict></dict>";
}

std::string archivesDocument(std::size_t count) {
  std::string document = std::string(prolog) + "<dict>\n";
  for (std::size_t number = 0; number < count; ++number) {
    document += "<key>" + pathOf(number) + "</key>" + archiveElement(number) + "\n";
  }
  return document + "</dict>\n" + epilog;
}

std::string listDocument(std::size_t bytes) {
  std::string document = std::string(prolog) + "<array>\n";
  for (std::size_t number = 1; document.size() < bytes; ++number) appendService(document, number);
  return document + "</array>\n" + epilog;
}

}  // namespace vanto::bench
