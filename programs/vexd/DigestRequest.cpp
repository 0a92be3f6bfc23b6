// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigestRequest.h"

#include <utility>

#include "code/limits.h"
#include "value/limits.h"
#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

constexpr std::size_t directories = 2;

void write(RecordWriter& record, const code::TrustDirectory& directory) {
  record.text(directory.path);
  record.number(directory.isUsable ? 1 : 0);
  record.text(directory.doubt);
  record.number(directory.revocations ? 1 : 0);
  record.text(directory.revocations.value_or(""));
  record.number(directory.keys.size());
  for (const code::TrustDirectory::File& key : directory.keys) {
    record.text(key.name);
    record.text(key.bytes);
  }
}

code::TrustDirectory readDirectory(RecordReader& record) {
  code::TrustDirectory directory;
  directory.path = record.text(limits::pathBytes);
  directory.isUsable = record.number() == 1;
  directory.doubt = record.text(vanto::limits::codeTextBytes);
  const bool hasRevocations = record.number() == 1;
  const std::string_view revocations = record.text(code::limits::revocationFileBytes);
  if (hasRevocations) directory.revocations = std::string(revocations);
  const std::uint64_t count = record.number();
  for (std::uint64_t i = 0; i < count && i < code::limits::trustEntries && record.isFine(); ++i) {
    const std::string_view name = record.text(code::limits::keyNameBytes);
    directory.keys.push_back({std::string(name), std::string(record.text(code::limits::keyFileBytes))});
  }
  return directory;
}

}  // namespace

std::string DigestRequest::bytes() const {
  RecordWriter record;
  record.text(files.name);
  for (const Fd* file : {&files.info, &files.bundleSignature, &files.signature}) record.number(*file ? 1 : 0);
  for (const std::string* problem : {&files.infoProblem, &files.bundleSignatureProblem, &files.signatureProblem}) {
    record.text(*problem);
  }
  record.number(trust.size());
  for (const code::TrustDirectory& directory : trust) write(record, directory);
  return record.bytes();
}

std::vector<int> DigestRequest::descriptors() const {
  std::vector<int> result;
  for (const Fd* file : {&files.executable, &files.info, &files.bundleSignature, &files.signature}) {
    if (*file) result.push_back(file->get());
  }
  return result;
}

std::optional<DigestRequest> DigestRequest::read(Record record) {
  RecordReader reader(record.bytes);
  DigestRequest request;
  request.files.name = reader.text(limits::pathBytes);
  auto next = record.descriptors.begin();
  const auto end = record.descriptors.end();
  bool isComplete = next != end;
  if (isComplete) request.files.executable = std::move(*next++);
  for (Fd* file : {&request.files.info, &request.files.bundleSignature, &request.files.signature}) {
    if (reader.number() == 0) continue;
    if (next == end) isComplete = false;
    if (next != end) *file = std::move(*next++);
  }
  for (std::string* problem :
       {&request.files.infoProblem, &request.files.bundleSignatureProblem, &request.files.signatureProblem}) {
    *problem = reader.text(limits::pathBytes);
  }
  const std::uint64_t count = reader.number();
  for (std::uint64_t i = 0; i < count && i < directories && reader.isFine(); ++i) {
    request.trust.push_back(readDirectory(reader));
  }
  if (!reader.isWhole() || !isComplete || next != end) return std::nullopt;
  return request;
}

}  // namespace vanto::vexd
