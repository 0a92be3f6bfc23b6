// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobIntake.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "tolvend/JobTree.h"
#include "value/limits.h"
#include "vantoproxy/ProxyPlace.h"

namespace vanto::manager {

namespace {

constexpr char labelKey[] = "Label";
constexpr char namesKey[] = "MachServices";
constexpr char argumentsKey[] = "ProgramArguments";
constexpr char transactionsKey[] = "EnableTransactions";
constexpr char instancesKey[] = "MultipleInstances";
constexpr char domainKey[] = "VantoDomain";
constexpr std::array knownKeys = {labelKey, namesKey, argumentsKey, transactionsKey, instancesKey, domainKey};

constexpr std::string_view ownNames = "org.vanto.tolvend.";

/// What is there, for a refusal.
std::string found(tolven_data_t data) {
  switch (tolven_data_get_kind(data)) {
    case TOLVEN_DATA_NONE:
      return "nothing";
    case TOLVEN_DATA_DICTIONARY:
      return "a dictionary";
    case TOLVEN_DATA_ARRAY:
      return tolven_data_get_opaque(data) != nullptr ? "data" : "an array";
    case TOLVEN_DATA_INTEGER:
      return "the number " + std::to_string(tolven_data_get_integer(data));
    case TOLVEN_DATA_REAL:
      return "the number " + std::to_string(tolven_data_get_real(data));
    case TOLVEN_DATA_BOOL:
      return tolven_data_get_bool(data) ? "true" : "false";
    case TOLVEN_DATA_STRING:
      return inQuotes(tolven_data_get_string(data));
    default:
      return "data";
  }
}

std::string wrong(std::string_view key, tolven_data_t value, std::string_view remedy) {
  return inQuotes(key) + " is " + found(value) + "; " + std::string(remedy);
}

/// A key that is not known, as it would do nothing.
std::string judgeKeys(tolven_data_t data) {
  std::string refusal;
  tolven_data_dict_apply(
      data,
      [](const char* key, tolven_data_t, void* context) {
        for (const char* known : knownKeys) {
          if (std::string_view(key) == known) return true;
        }
        *static_cast<std::string*>(context) =
            "the key " + inQuotes(key) + " is not known here; correct it or leave it out";
        return false;
      },
      &refusal);
  return refusal;
}

std::string readLabel(tolven_data_t data, Job& job) {
  tolven_data_t label = tolven_data_dict_lookup(data, labelKey);
  const char* text = tolven_data_get_string(label);
  if (text == nullptr) return wrong(labelKey, label, "give the job its label, a string");
  if (!vanto_service_name_is_valid(text)) {
    return wrong(labelKey, label, "give it a label that is no longer than the name of a socket file, and not empty");
  }
  if (std::string_view(text).starts_with(ownNames)) {
    return wrong(labelKey, label, "such names are the manager's own, so choose another one");
  }
  job.label = text;
  return {};
}

std::string readName(tolven_data_t data, Job& job) {
  tolven_data_t names = tolven_data_dict_lookup(data, namesKey);
  if (tolven_data_get_kind(names) != TOLVEN_DATA_DICTIONARY) {
    return wrong(namesKey, names, "give it a dictionary with the name of the service");
  }
  const std::size_t count = tolven_data_dict_get_count(names);
  if (count != 1) {
    return inQuotes(namesKey) + " has " + std::to_string(count) + " names; a job has exactly one, its label";
  }
  tolven_data_t value = tolven_data_dict_lookup(names, job.label.c_str());
  if (value == nullptr) {
    return inQuotes(namesKey) + " does not name the label " + inQuotes(job.label) + "; name the service as the job";
  }
  if (!tolven_data_get_bool(value)) {
    return wrong(std::string(namesKey) + "/" + job.label, value, "set it to true");
  }
  job.name = job.label;
  return {};
}

/// Why a path is none that is started, or null.
const char* pathProblem(std::string_view path) {
  if (!path.starts_with('/')) return "give the absolute path of the executable";
  if (path.size() > limits::jobProgramBytes) return "give a path of at most 4,095 bytes";
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::string_view component = path.substr(0, path.find('/'));
    if (component.empty()) return "give a path without empty components and without a slash at its end";
    if (component == "..") return "give a path without \"..\"";
    path.remove_prefix(component.size());
  }
  return nullptr;
}

std::string readProgram(tolven_data_t data, Job& job) {
  tolven_data_t arguments = tolven_data_dict_lookup(data, argumentsKey);
  if (tolven_data_get_kind(arguments) != TOLVEN_DATA_ARRAY || tolven_data_get_opaque(arguments) != nullptr) {
    return wrong(argumentsKey, arguments, "give it an array of the proxy's path and the executable's");
  }
  const std::size_t count = tolven_data_array_get_count(arguments);
  if (count != 2) {
    return inQuotes(argumentsKey) + " has " + std::to_string(count) +
           " elements; give it exactly two, the proxy's path and the executable's";
  }
  tolven_data_t proxy = tolven_data_array_get_index(arguments, 0);
  const char* proxyText = tolven_data_get_string(proxy);
  if (proxyText == nullptr || std::string_view(proxyText) != proxyPath) {
    return wrong("ProgramArguments/0", proxy, "make it \"/usr/libexec/vantoproxy\", which starts each service");
  }
  tolven_data_t program = tolven_data_array_get_index(arguments, 1);
  const char* path = tolven_data_get_string(program);
  if (path == nullptr) return wrong("ProgramArguments/1", program, "give the executable's path, a string");
  if (const char* problem = pathProblem(path)) return wrong("ProgramArguments/1", program, problem);
  job.program = path;
  return {};
}

std::string readFlags(tolven_data_t data, Job& job) {
  tolven_data_t transactions = tolven_data_dict_lookup(data, transactionsKey);
  if (transactions != nullptr && tolven_data_get_kind(transactions) != TOLVEN_DATA_BOOL) {
    return wrong(transactionsKey, transactions, "make it true or false, or leave it out for false");
  }
  job.leavesWhenIdle = tolven_data_get_bool(transactions);

  tolven_data_t instances = tolven_data_dict_lookup(data, instancesKey);
  switch (tolven_data_get_kind(instances)) {
    case TOLVEN_DATA_NONE:
      return {};
    case TOLVEN_DATA_BOOL:
      job.isMultiple = tolven_data_get_bool(instances);
      return {};
    case TOLVEN_DATA_INTEGER:
      job.isMultiple = tolven_data_get_integer(instances) != 0;
      return {};
    case TOLVEN_DATA_REAL:
      job.isMultiple = tolven_data_get_real(instances) != 0;
      if (!std::isnan(tolven_data_get_real(instances))) return {};
      break;
    default:
      break;
  }
  return wrong(instancesKey, instances, "make it true or false, or leave it out for false");
}

std::string judgeDomain(tolven_data_t data, Domain domain) {
  tolven_data_t value = tolven_data_dict_lookup(data, domainKey);
  if (value == nullptr) return {};
  const char* text = tolven_data_get_string(value);
  static constexpr struct {
    const char* name;
    Domain domain;
  } names[] = {{"VantoPerUser", Domain::User}, {"VantoPerSession", Domain::Session}, {"VantoSystem", Domain::System}};
  for (const auto& known : names) {
    if (text == nullptr || std::string_view(text) != known.name) continue;
    if (known.domain == domain) return {};
    return inQuotes(domainKey) + " is " + inQuotes(text) + ", and this is the manager of the " + domainWord(domain) +
           " domain; load the job into the manager of the " + domainWord(known.domain) + " domain";
  }
  return wrong(domainKey, value, R"(make it "VantoPerUser", "VantoPerSession" or "VantoSystem", or leave it out)");
}

/// All that `packed` is not needed for.
std::string readJob(tolven_data_t data, Domain domain, Job& job) {
  std::string refusal = judgeKeys(data);
  if (refusal.empty()) refusal = readLabel(data, job);
  if (refusal.empty()) refusal = readName(data, job);
  if (refusal.empty()) refusal = readProgram(data, job);
  if (refusal.empty()) refusal = readFlags(data, job);
  if (refusal.empty()) refusal = judgeDomain(data, domain);
  return refusal;
}

}  // namespace

std::string takeJob(tolven_data_t data, Domain domain, Job& job) {
  if (tolven_data_get_kind(data) != TOLVEN_DATA_DICTIONARY) {
    return "the job is " + found(data) + "; give one job, a dictionary";
  }
  Job taken;
  if (std::string refusal = readJob(data, domain, taken); !refusal.empty()) return refusal;

  std::size_t length = 0;
  struct Free {
    void operator()(void* bytes) const noexcept { std::free(bytes); }
  };
  const std::unique_ptr<void, Free> packed(tolven_data_pack(data, &length));
  if (!packed) return "the job cannot be kept, as it is too large; a job needs a few hundred bytes";
  taken.data.assign(static_cast<const char*>(packed.get()), length);
  job = std::move(taken);
  return {};
}

std::string takeJob(vanto_object_t object, Domain domain, Job& job) {
  JobTree tree;
  std::string refusal = createJobTree(object, tree);
  return refusal.empty() ? takeJob(tree.get(), domain, job) : refusal;
}

std::string takeJob(const void* bytes, std::size_t size, Domain domain, Job& job) {
  if (size > limits::jobDataBytes) {
    return "the job has " + std::to_string(size) + " bytes; give job data of at most 1,048,576 bytes";
  }
  const JobTree tree(tolven_data_unpack(bytes, size));
  if (!tree) return "the bytes are no job data; give those that pack a job";
  return takeJob(tree.get(), domain, job);
}

const char* domainWord(Domain domain) noexcept {
  switch (domain) {
    case Domain::Session:
      return "session";
    case Domain::User:
      return "user";
    case Domain::System:
      break;
  }
  return "system";
}

}  // namespace vanto::manager
