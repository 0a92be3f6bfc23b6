// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobIntake.h"

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "JobSamples.h"
#include "support/SampleFiles.h"
#include "value/limits.h"

namespace vanto::manager {
namespace {

/// The refusal of a job in the user's domain, after which there must be no trace of it.
std::string refusal(const OwnedJobData& data, Domain domain = Domain::User) {
  Job job;
  job.label = "untouched";
  std::string text = takeJob(data.get(), domain, job);
  EXPECT_EQ(job.label == "untouched", !text.empty());
  EXPECT_EQ(text.find('\n'), text.npos);
  return text;
}

/// As refusal(), for a good job with another value under `key`; null for none.
std::string refusalWith(const char* key, tolven_data_t value) {
  return refusal(jobWith(key, value));
}

Job taken(const OwnedJobData& data) {
  Job job;
  EXPECT_EQ(takeJob(data.get(), Domain::User, job), "");
  return job;
}

TEST(JobIntake, TakesTheJobOfABundle) {
  const Job job = taken(goodJob());
  EXPECT_EQ(job.label, "org.example.echo");
  EXPECT_EQ(job.name, "org.example.echo");
  EXPECT_EQ(job.program, "/opt/echo.vanto/echo");
  EXPECT_TRUE(job.leavesWhenIdle);
  EXPECT_FALSE(job.isMultiple);
  const std::vector<std::uint8_t> packed = vanto::testing::pack(goodJob());
  EXPECT_EQ(job.data, std::string(packed.begin(), packed.end()));
}

TEST(JobIntake, TakesTheBytesThatItGives) {
  const Job job = taken(goodJob());
  Job again;
  EXPECT_EQ(takeJob(job.data.data(), job.data.size(), Domain::User, again), "");
  EXPECT_EQ(again.data, job.data);
  EXPECT_EQ(again.program, job.program);
}

TEST(JobIntake, TakesTheSameJobAsAnObject) {
  vanto_object_t names = vanto_dictionary_create(nullptr, nullptr, 0);
  vanto_dictionary_set_value(names, "org.example.echo", vanto_bool_create(true));
  vanto_object_t proxy = vanto_string_create("/usr/libexec/vantoproxy");
  vanto_object_t program = vanto_string_create("/opt/echo.vanto/echo");
  const vanto_object_t both[] = {proxy, program};
  vanto_object_t arguments = vanto_array_create(both, 2);
  vanto_object_t label = vanto_string_create("org.example.echo");
  const char* keys[] = {"Label", "MachServices", "ProgramArguments", "EnableTransactions"};
  const vanto_object_t values[] = {label, names, arguments, vanto_bool_create(true)};
  vanto_object_t object = vanto_dictionary_create(keys, values, 4);
  Job job;
  EXPECT_EQ(takeJob(object, Domain::User, job), "");
  EXPECT_EQ(job.data, taken(goodJob()).data);
  for (vanto_object_t each : {names, proxy, program, arguments, label, object}) vanto_release(each);
}

TEST(JobIntake, RefusesWhatIsNoDictionary) {
  EXPECT_EQ(refusal(OwnedJobData(nullptr)), "the job is nothing; give one job, a dictionary");
  EXPECT_EQ(refusal(OwnedJobData(stringData("x"))), "the job is \"x\"; give one job, a dictionary");
  EXPECT_EQ(refusal(OwnedJobData(arrayData({}))), "the job is an array; give one job, a dictionary");
  Job job;
  EXPECT_EQ(takeJob(static_cast<vanto_object_t>(nullptr), Domain::User, job).substr(0, 7), "the job");
  EXPECT_EQ(takeJob("rubbish", 7, Domain::User, job), "the bytes are no job data; give those that pack a job");
}

TEST(JobIntake, RefusesAWrongLabel) {
  EXPECT_EQ(refusalWith("Label", nullptr), "\"Label\" is nothing; give the job its label, a string");
  EXPECT_EQ(refusalWith("Label", integerData(7)), "\"Label\" is the number 7; give the job its label, a string");
  const std::string remedy = "; give it a label that is no longer than the name of a socket file, and not empty";
  EXPECT_EQ(refusalWith("Label", stringData("")), "\"Label\" is \"\"" + remedy);
  EXPECT_TRUE(refusalWith("Label", stringData(std::string(256, 'x').c_str())).ends_with(remedy));
  EXPECT_EQ(refusal(goodJob(std::string(255, 'x').c_str())), "");
  EXPECT_EQ(refusal(goodJob("org.vanto.tolvend.user")),
            "\"Label\" is \"org.vanto.tolvend.user\"; such names are the manager's own, so choose another one");
  EXPECT_EQ(refusal(goodJob("org.vanto.tolvend")), "");
}

TEST(JobIntake, RefusesWrongNames) {
  const std::string remedy = "; give it a dictionary with the name of the service";
  EXPECT_EQ(refusalWith("MachServices", nullptr), "\"MachServices\" is nothing" + remedy);
  EXPECT_EQ(refusalWith("MachServices", arrayData({})), "\"MachServices\" is an array" + remedy);
  EXPECT_EQ(refusalWith("MachServices", tolven_data_alloc(TOLVEN_DATA_DICTIONARY)),
            "\"MachServices\" has 0 names; a job has exactly one, its label");
  tolven_data_t two = namesData("org.example.echo");
  tolven_data_dict_insert(two, "org.example.other", boolData(true));
  EXPECT_EQ(refusalWith("MachServices", two), "\"MachServices\" has 2 names; a job has exactly one, its label");
  EXPECT_EQ(refusalWith("MachServices", namesData("org.example.other")),
            "\"MachServices\" does not name the label \"org.example.echo\"; name the service as the job");
  for (tolven_data_t value : {boolData(false), integerData(1), stringData("true")}) {
    tolven_data_t names = namesData("org.example.echo");
    tolven_data_dict_insert(names, "org.example.echo", value);
    EXPECT_TRUE(refusalWith("MachServices", names).ends_with("; set it to true"));
  }
}

TEST(JobIntake, RefusesWrongArguments) {
  const std::string array = "; give it an array of the proxy's path and the executable's";
  EXPECT_EQ(refusalWith("ProgramArguments", nullptr), "\"ProgramArguments\" is nothing" + array);
  EXPECT_EQ(refusalWith("ProgramArguments", stringData("/x")), "\"ProgramArguments\" is \"/x\"" + array);
  EXPECT_EQ(refusalWith("ProgramArguments", bytesData(TOLVEN_DATA_ARRAY)), "\"ProgramArguments\" is data" + array);
  const std::string two = " elements; give it exactly two, the proxy's path and the executable's";
  EXPECT_EQ(refusalWith("ProgramArguments", arrayData({})), "\"ProgramArguments\" has 0" + two);
  EXPECT_EQ(refusalWith("ProgramArguments",
                        arrayData({stringData("/usr/libexec/vantoproxy"), stringData("/a"), stringData("/b")})),
            "\"ProgramArguments\" has 3" + two);
  const std::string proxy = "; make it \"/usr/libexec/vantoproxy\", which starts each service";
  EXPECT_EQ(refusalWith("ProgramArguments", arrayData({stringData("/bin/sh"), stringData("/a")})),
            "\"ProgramArguments/0\" is \"/bin/sh\"" + proxy);
  EXPECT_EQ(refusalWith("ProgramArguments", arrayData({nullptr, stringData("/a")})),
            "\"ProgramArguments/0\" is nothing" + proxy);
  EXPECT_EQ(refusalWith("ProgramArguments", arrayData({stringData("/usr/libexec/vantoproxy"), integerData(1)})),
            "\"ProgramArguments/1\" is the number 1; give the executable's path, a string");
}

TEST(JobIntake, RefusesWrongPaths) {
  const struct {
    std::string path;
    const char* remedy;
  } wrongs[] = {
      {"", "give the absolute path of the executable"},
      {"opt/echo", "give the absolute path of the executable"},
      {"/", "give a path without empty components and without a slash at its end"},
      {"/opt//echo", "give a path without empty components and without a slash at its end"},
      {"/opt/echo/", "give a path without empty components and without a slash at its end"},
      {"/opt/../echo", "give a path without \"..\""},
      {"/..", "give a path without \"..\""},
      {"/" + std::string(limits::jobProgramBytes, 'x'), "give a path of at most 4,095 bytes"},
  };
  for (const auto& [path, remedy] : wrongs) {
    const std::string text = refusalWith("ProgramArguments", programData(path.c_str()));
    EXPECT_TRUE(text.starts_with("\"ProgramArguments/1\" is \"")) << text;
    EXPECT_TRUE(text.ends_with(std::string("; ") + remedy)) << text;
    EXPECT_LT(text.size(), 500U);
  }
  const std::string longest = "/" + std::string(limits::jobProgramBytes - 1, 'x');
  for (const std::string& path : {longest, std::string("/opt/..echo"), std::string("/opt/.hidden/ä b")}) {
    EXPECT_EQ(refusalWith("ProgramArguments", programData(path.c_str())), "");
  }
}

TEST(JobIntake, ReadsWhetherItLeavesWhenIdle) {
  EXPECT_FALSE(taken(jobWith("EnableTransactions", boolData(false))).leavesWhenIdle);
  EXPECT_FALSE(taken(jobWith("EnableTransactions", nullptr)).leavesWhenIdle);
  EXPECT_EQ(refusalWith("EnableTransactions", integerData(1)),
            "\"EnableTransactions\" is the number 1; make it true or false, or leave it out for false");
}

TEST(JobIntake, ReadsWhetherThereAreSeveralInstances) {
  for (tolven_data_t yes : {boolData(true), integerData(1), integerData(-3), realData(0.5)}) {
    EXPECT_TRUE(taken(jobWith("MultipleInstances", yes)).isMultiple);
  }
  for (tolven_data_t no : {boolData(false), integerData(0), realData(0), realData(-0.0)}) {
    EXPECT_FALSE(taken(jobWith("MultipleInstances", no)).isMultiple);
  }
  for (tolven_data_t wrong : {stringData("true"), arrayData({}), realData(std::nan("")), bytesData(TOLVEN_DATA_OPAQUE),
                              tolven_data_alloc(TOLVEN_DATA_DICTIONARY)}) {
    const std::string text = refusalWith("MultipleInstances", wrong);
    EXPECT_TRUE(text.ends_with("; make it true or false, or leave it out for false")) << text;
  }
}

TEST(JobIntake, TakesJobsOfItsDomainOnly) {
  const struct {
    const char* name;
    Domain domain;
  } domains[] = {{"VantoPerUser", Domain::User}, {"VantoPerSession", Domain::Session}, {"VantoSystem", Domain::System}};
  for (const auto& [name, domain] : domains) {
    for (const auto& [ownName, own] : domains) {
      const std::string text = refusal(jobWith("VantoDomain", stringData(name)), own);
      EXPECT_EQ(text.empty(), domain == own) << text;
    }
    EXPECT_EQ(refusal(goodJob(), domain), "");
  }
  EXPECT_EQ(refusalWith("VantoDomain", stringData("VantoSystem")),
            "\"VantoDomain\" is \"VantoSystem\", and this is the manager of the user domain; load the job into the "
            "manager of the system domain");
  EXPECT_EQ(refusalWith("VantoDomain", stringData("user")),
            "\"VantoDomain\" is \"user\"; make it \"VantoPerUser\", \"VantoPerSession\" or \"VantoSystem\", or leave "
            "it out");
  EXPECT_TRUE(refusalWith("VantoDomain", integerData(1)).starts_with("\"VantoDomain\" is the number 1; make it"));
}

TEST(JobIntake, RefusesKeysThatItDoesNotKnow) {
  EXPECT_EQ(refusalWith("_MultipleInstances", boolData(true)),
            "the key \"_MultipleInstances\" is not known here; correct it or leave it out");
  EXPECT_EQ(refusalWith("label", stringData("x")), "the key \"label\" is not known here; correct it or leave it out");
  EXPECT_EQ(refusalWith("a\nb", boolData(true)), "the key \"a\\nb\" is not known here; correct it or leave it out");
}

TEST(JobIntake, RefusesMoreBytesThanAJobMayHave) {
  const std::string bytes(limits::jobDataBytes + 1, '\0');
  Job job;
  EXPECT_EQ(takeJob(bytes.data(), bytes.size(), Domain::User, job),
            "the job has 1048577 bytes; give job data of at most 1,048,576 bytes");
}

TEST(JobIntake, JudgesEachSampleAsItsNameSays) {
  for (const char* verdict : {"accept-", "refuse-"}) {
    const auto samples = vanto::test::sampleFiles(VANTO_JOB_SAMPLES, verdict);
    EXPECT_GT(samples.size(), 5U);
    for (const auto& [name, content] : samples) {
      Job job;
      const std::string text = takeJob(content.data(), content.size(), Domain::User, job);
      EXPECT_EQ(text.empty(), name.starts_with("accept-")) << name << ": " << text;
    }
  }
}

TEST(JobIntake, NamesTheDomains) {
  EXPECT_STREQ(domainWord(Domain::Session), "session");
  EXPECT_STREQ(domainWord(Domain::User), "user");
  EXPECT_STREQ(domainWord(Domain::System), "system");
}

}  // namespace
}  // namespace vanto::manager
