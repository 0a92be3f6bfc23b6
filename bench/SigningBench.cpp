// SPDX-License-Identifier: Apache-2.0

// What it costs to look at who connects: a connection of a signed program with entitlements to a service that judges
// its clients by their code, with a warm cache, beside a bare one (a socket of the same kind; an epoll loop that
// accepts, reads the credentials, greets, and answers one request), all on one core; a connection to a service that
// lists no clients beside one to a service in which nothing was ever set up to judge clients; and the first digest of
// an executable beside the cryptographic library alone.
//
// On a loaded machine `chrt -f 5 ./signing_bench` keeps others off the core that is measured.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <openssl/evp.h>
#include <sched.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>
#include <VantoService/dispatch.h>
#include <VantoService/vanto_code.h>

#include "Medians.h"
#include "SystemCalls.h"
#include "code/CodePlace.h"
#include "code/KeyDocument.h"
#include "code/SignatureFile.h"
#include "code/Signing.h"
#include "runtime/ClientValidation.h"
#include "support/BundleBuilder.h"

namespace vanto::bench {
namespace {

constexpr int rounds = 20;
constexpr int connectionsPerRound = 200;
constexpr std::size_t executableBytes = std::size_t{256} << 20;
constexpr const char* judged = "org.vanto.bench.judged";
constexpr const char* unlisted = "org.vanto.bench.unlisted";
constexpr const char* unchecked = "org.vanto.bench.unchecked";
/// The first one is tried in vain.
constexpr const char* otherClient = "identifier \"org.vanto.bench.other\" and signer \"bench\"";
constexpr const char* thisClient =
    "identifier \"org.vanto.bench.client\" and signer \"bench\" and entitlement \"org.vanto.bench.level\" = 7";
constexpr int countedConnections = 200;
/// What a service that judges nobody may do for a connection with one request beyond the bare one: 2.2 calls when this
/// was written, and 14.4 for one that judges.
constexpr double callsBeyondBare = 3;
constexpr std::uint64_t patience = 10'000'000'000;

double nanosecondsNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

void pinToOneCore() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(0, &set);
  sched_setaffinity(0, sizeof set, &set);
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

bool report(const char* what, double value, const char* comparison, double limit, bool isMet) {
  std::printf("%-48s %8.2f   limit %s %.2f   %s\n", what, value, comparison, limit, isMet ? "met" : "MISSED");
  return isMet;
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
  return address;
}

void answerBare(int epoll, int socket) {
  char byte[64];
  const ssize_t length = recv(socket, byte, sizeof byte, 0);
  if (length > 0) {
    static_cast<void>(send(socket, byte, static_cast<std::size_t>(length), MSG_NOSIGNAL));
  } else {
    epoll_ctl(epoll, EPOLL_CTL_DEL, socket, nullptr);
    close(socket);
  }
}

[[noreturn]] void serveBare(const std::string& path) {
  const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
  const sockaddr_un address = addressOf(path);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(listener, 64) != 0) {
    _exit(1);
  }
  const int epoll = epoll_create1(0);
  epoll_event event{EPOLLIN, {.fd = listener}};
  epoll_ctl(epoll, EPOLL_CTL_ADD, listener, &event);
  while (epoll_wait(epoll, &event, 1, -1) == 1 || errno == EINTR) {
    if (event.data.fd != listener) {
      answerBare(epoll, event.data.fd);
      continue;
    }
    const int accepted = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    ucred credentials;
    socklen_t size = sizeof credentials;
    getsockopt(accepted, SOL_SOCKET, SO_PEERCRED, &credentials, &size);
    static_cast<void>(send(accepted, "greeting", 8, MSG_NOSIGNAL));
    epoll_event added{EPOLLIN, {.fd = accepted}};
    epoll_ctl(epoll, EPOLL_CTL_ADD, accepted, &added);
  }
  _exit(1);
}

/// Sets up what a service does that lists these requirement texts.
void setUpWithClients(const std::string& directory, const char* name, const std::vector<std::string>& texts) {
  test::BundleBuilder builder(directory, std::string(name) + ".vanto");
  builder.executable("service", "").identifier(name).service();
  std::vector<std::string> elements;
  for (const std::string& text : texts) elements.push_back(test::BundleBuilder::string(text));
  builder.serviceEntry("_AllowedClients", test::BundleBuilder::array(elements));
  builder.build();
  const TemporaryScope scope;
  VantoServiceBundle* const bundle =
      VantoServiceBundle::VantoServiceBundleAtPath(PlistString::create(builder.path()).asTemporary());
  if (bundle == nullptr) _exit(1);
  setupConnectionValidatorIfNeeded(*bundle);
}

[[noreturn]] void serve(const char* name) {
  const vanto_object_t listener = vanto_connection_create_listener(name, nullptr);
  vanto_connection_set_event_handler(listener, [](vanto_object_t, vanto_object_t event) {
    vanto_connection_set_event_handler(event, [](vanto_object_t, vanto_object_t message) {
      if (vanto_kind(message) == VANTO_KIND_MESSAGE) vanto_reply(message, vanto_message_get_body(message));
    });
    vanto_connection_resume(event);
  });
  vanto_connection_resume(listener);
  dispatch_main();
}

bool connectBare(const sockaddr_un& address) {
  const int made = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  char bytes[64];
  const bool isFine = connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                      recv(made, bytes, sizeof bytes, 0) == 8 && send(made, "request", 7, 0) == 7 &&
                      recv(made, bytes, sizeof bytes, 0) == 7;
  close(made);
  return isFine;
}

bool connectAndCall(const char* name, vanto_object_t request) {
  const vanto_object_t connection = vanto_connect(name, nullptr, patience);
  const vanto_object_t reply = vanto_call(connection, request, patience);
  const bool isFine = vanto_equal(reply, request);
  vanto_release(reply);
  vanto_release(connection);
  return isFine;
}

/// Nanoseconds for each; the program ends when one does not work.
template <typename Work>
double timeOf(int count, const char* what, Work work) {
  const double start = nanosecondsNow();
  for (int i = 0; i < count; ++i) {
    if (work()) continue;
    std::fprintf(stderr, "%s does not work\n", what);
    std::exit(1);
  }
  return (nanosecondsNow() - start) / count;
}

template <typename Work>
void awaitWorking(Work work) {
  for (int i = 0; i < 10'000 && !work(); ++i) usleep(1000);
}

template <typename Work>
pid_t inChild(Work work) {
  const pid_t child = fork();
  if (child == 0) work();
  return child;
}

/// System calls of a service for one connection with one request.
template <typename Work>
double callsOf(pid_t service, Work connectOnce) {
  const auto connect = [&](int count) {
    return [&connectOnce, count] {
      for (int i = 0; i < count; ++i) require(connectOnce(), "a connection under the tracer");
    };
  };
  static_cast<void>(countSystemCalls(service, connect(1)));
  return static_cast<double>(countSystemCalls(service, connect(countedConnections))) / countedConnections;
}

struct Services {
  pid_t bare;
  pid_t judged;
  pid_t unlisted;
  pid_t unchecked;
};

/// Does not depend on what else the machine does.
bool countCalls(const Services& services, const sockaddr_un& bareAddress, vanto_object_t request) {
  const double bare = callsOf(services.bare, [&] { return connectBare(bareAddress); });
  const auto callsFor = [request](pid_t service, const char* name) {
    return callsOf(service, [&] { return connectAndCall(name, request); });
  };
  const double ofUnchecked = callsFor(services.unchecked, unchecked);
  const double ofUnlisted = callsFor(services.unlisted, unlisted);
  const double ofJudged = callsFor(services.judged, judged);
  std::printf("\nsystem calls of the service for a connection with one request\n");
  std::printf("  bare %.1f, nothing set up %.1f, no allowed clients %.1f, validated %.1f\n", bare, ofUnchecked,
              ofUnlisted, ofJudged);
  const double more = ofUnlisted - ofUnchecked;
  const bool met = report("no allowed clients: more calls than nothing set up", more, "<=", 0.5, more <= 0.5);
  const double beyond = ofUnlisted - bare;
  return report("no allowed clients: more calls than bare", beyond, "<=", callsBeyondBare, beyond <= callsBeyondBare) &&
         met;
}

bool measureConnections(const sockaddr_un& bareAddress, vanto_object_t request) {
  std::vector<double> bare;
  std::vector<double> withoutList;
  std::vector<double> withoutCheck;
  std::vector<double> validated;
  const auto timeFor = [request](const char* name) {
    return timeOf(connectionsPerRound, "a connection", [&] { return connectAndCall(name, request); });
  };
  for (int i = 0; i < rounds; ++i) {
    bare.push_back(timeOf(connectionsPerRound, "a bare connection", [&] { return connectBare(bareAddress); }));
    withoutList.push_back(timeFor(unlisted));
    withoutCheck.push_back(timeFor(unchecked));
    validated.push_back(timeFor(judged));
  }
  std::printf("connect, one request, close; one core, medians of %d interleaved runs\n", rounds);
  std::printf("  bare                              %7.1f us\n", median(bare) / 1000);
  std::printf("  service with nothing set up       %7.1f us\n", median(withoutCheck) / 1000);
  std::printf("  service without allowed clients   %7.1f us\n", median(withoutList) / 1000);
  std::printf("  validated, warm cache             %7.1f us\n", median(validated) / 1000);
  const double ratio = median(validated) / median(bare);
  const double excess = median(withoutList) / median(withoutCheck);
  const bool met = report("validated connection, times a bare one", ratio, "<=", 4, ratio <= 4);
  return report("no allowed clients, times nothing set up", excess, "<=", 1.05, excess <= 1.05) && met;
}

double digestByLibrary(const std::vector<unsigned char>& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  return timeOf(1, "the cryptographic library",
                [&] { return EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, EVP_sha256(), nullptr) == 1; });
}

/// Of a process whose executable nobody has looked at.
double digestByService(const std::string& path, std::vector<unsigned char> bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
  chmod(path.c_str(), 0700);
  const pid_t child = inChild([&path] {
    execl(path.c_str(), "sleep", "100", nullptr);
    _exit(1);
  });
  const int process = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  // Until it executes the file it is this program, which is known.
  const std::string link = "/proc/" + std::to_string(child) + "/exe";
  awaitWorking([&] {
    char target[4096] = {};
    return readlink(link.c_str(), target, sizeof target - 1) > 0 && path == target;
  });
  const double time = timeOf(1, "the code-signing service", [&] {
    const vanto_object_t code = vanto_copy_process_code(process, patience);
    const bool isFine = vanto_kind(code) == VANTO_KIND_DICTIONARY;
    vanto_release(code);
    return isFine;
  });
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(process);
  unlink(path.c_str());
  return time;
}

bool measureDigests(const std::string& directory) {
  std::ifstream sleep("/bin/sleep", std::ios::binary);
  std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(sleep)), {});
  for (std::size_t i = bytes.size(); i < executableBytes; ++i) bytes.push_back(static_cast<unsigned char>(i * 7));
  std::vector<double> library;
  std::vector<double> service;
  for (int i = 0; i < 5; ++i) {
    library.push_back(digestByLibrary(bytes));
    bytes.back() = static_cast<unsigned char>(i);
    service.push_back(digestByService(directory + "/program" + std::to_string(i), bytes));
  }
  const double size = static_cast<double>(executableBytes);
  std::printf("\ndigest of %zu MiB: library %.2f GB/s, first look of the service %.2f GB/s\n", executableBytes >> 20,
              size / median(library), size / median(service));
  const double part = median(library) / median(service);
  return report("first digest, part of the library's speed", part, ">=", 0.7, part >= 0.7);
}

Ref<PlistDictionary> entitlementsOfClient() {
  const Ref<PlistMutableDictionary> list = PlistMutableDictionary::create();
  const Ref<PlistMutableArray> groups = PlistMutableArray::create();
  for (const char* group : {"org.vanto.bench.readers", "org.vanto.bench.writers", "org.vanto.bench.owners"}) {
    groups->append(PlistString::create(group).get());
  }
  list->setValueForKey(groups.get(), PlistString::create("org.vanto.bench.groups").get());
  list->setValueForKey(PlistNumber::create(std::int64_t{7}).get(), PlistString::create("org.vanto.bench.level").get());
  list->setValueForKey(PlistBoolean::of(true), PlistString::create("org.vanto.bench.network").get());
  return list;
}

/// Signs a copy of this program by a key that is trusted where `directory` is the place of settings. Its path.
std::string createSignedClient(const std::string& directory) {
  const std::string path = directory + "/client";
  const std::string trust = directory + "/vanto/trust";
  std::filesystem::create_directories(trust);
  for (const std::string& place : {directory + "/vanto", trust}) chmod(place.c_str(), 0700);
  std::filesystem::copy_file("/proc/self/exe", path);
  code::KeyPair keys;
  keys.seed.fill(1);
  keys.publicKey = code::publicKeyOf(keys.seed).value();
  std::ofstream(trust + "/bench.plist", std::ios::binary)
      << code::PublicKeyDocument{keys.publicKey, "bench", {}}.bytes();
  std::string problem;
  std::vector<code::Defect> defects;
  const TemporaryScope scope;
  const auto place = code::CodePlace::ofPath(path, problem);
  const auto seal =
      place ? code::createSeal(*place, {"org.vanto.bench.client", entitlementsOfClient()}, defects) : std::nullopt;
  const auto signature = seal ? code::createSignature(*seal, keys, problem) : std::nullopt;
  require(signature.has_value(), "the signature of the client");
  std::ofstream(place->pathOf(place->signature), std::ios::binary) << *signature;
  return path;
}

int run(const std::string& directory) {
  pinToOneCore();
  setenv("XDG_RUNTIME_DIR", directory.c_str(), 1);
  setenv("XDG_CONFIG_HOME", directory.c_str(), 1);
  const std::string barePath = directory + "/bare";
  const Services services{inChild([&] { serveBare(barePath); }), inChild([&] {
                            setUpWithClients(directory, judged, {otherClient, thisClient});
                            serve(judged);
                          }),
                          inChild([&] {
                            setUpWithClients(directory, unlisted, {});
                            serve(unlisted);
                          }),
                          inChild([] { serve(unchecked); })};
  const pid_t vexd = inChild([] {
    execl(VANTO_BENCH_VEXD, VANTO_BENCH_VEXD, nullptr);
    _exit(1);
  });
  const sockaddr_un bareAddress = addressOf(barePath);
  const vanto_object_t request = vanto_string_create("request");
  awaitWorking([&] { return connectBare(bareAddress); });
  for (const char* name : {unlisted, unchecked, judged}) awaitWorking([&] { return connectAndCall(name, request); });
  // What changed a moment ago, as this program may have, is not kept.
  usleep(2'500'000);
  bool met = measureConnections(bareAddress, request);
  met = countCalls(services, bareAddress, request) && met;
  vanto_release(request);
  met = measureDigests(directory) && met;
  const pid_t children[] = {services.bare, services.judged, services.unlisted, services.unchecked, vexd};
  for (const pid_t child : children) kill(child, SIGTERM);
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  std::filesystem::remove_all(directory);
  return met ? 0 : 1;
}

}  // namespace
}  // namespace vanto::bench

/// Goes on as the signed copy of itself.
int main(int count, char** arguments) {
  if (count > 1) return vanto::bench::run(arguments[1]);
  char directory[] = "/tmp/signing-bench-XXXXXX";
  if (mkdtemp(directory) == nullptr) return 1;
  const std::string client = vanto::bench::createSignedClient(directory);
  execl(client.c_str(), client.c_str(), directory, nullptr);
  return 1;
}
