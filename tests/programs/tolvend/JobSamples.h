// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "support/JobData.h"

namespace vanto::manager {

using vanto::testing::arrayData;
using vanto::testing::integerData;
using vanto::testing::OwnedJobData;
using vanto::testing::stringData;

inline tolven_data_t boolData(bool value) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_BOOL);
  tolven_data_set_bool(data, value);
  return data;
}

inline tolven_data_t realData(double value) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_REAL);
  tolven_data_set_real(data, value);
  return data;
}

inline tolven_data_t bytesData(tolven_data_kind_t kind) {
  tolven_data_t data = tolven_data_alloc(kind);
  tolven_data_set_opaque(data, "x", 1);
  return data;
}

/// {name: true}
inline tolven_data_t namesData(const char* name) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
  tolven_data_dict_insert(data, name, boolData(true));
  return data;
}

inline tolven_data_t programData(const char* path) {
  return arrayData({stringData("/usr/libexec/vantoproxy"), stringData(path)});
}

/// The job of a service as its bundle gives it.
inline OwnedJobData goodJob(const char* label = "org.example.echo") {
  OwnedJobData job(tolven_data_alloc(TOLVEN_DATA_DICTIONARY));
  tolven_data_dict_insert(job.get(), "Label", stringData(label));
  tolven_data_dict_insert(job.get(), "MachServices", namesData(label));
  tolven_data_dict_insert(job.get(), "ProgramArguments", programData("/opt/echo.vanto/echo"));
  tolven_data_dict_insert(job.get(), "EnableTransactions", boolData(true));
  return job;
}

/// The same with another value under `key`, which is taken over; null for none.
inline OwnedJobData jobWith(const char* key, tolven_data_t value) {
  OwnedJobData job = goodJob();
  if (value != nullptr) {
    tolven_data_dict_insert(job.get(), key, value);
    return job;
  }
  // An entry cannot be taken out of job data.
  OwnedJobData rest(tolven_data_alloc(TOLVEN_DATA_DICTIONARY));
  const std::string_view missing = key;
  if (missing != "Label") tolven_data_dict_insert(rest.get(), "Label", stringData("org.example.echo"));
  if (missing != "MachServices") tolven_data_dict_insert(rest.get(), "MachServices", namesData("org.example.echo"));
  if (missing != "ProgramArguments") {
    tolven_data_dict_insert(rest.get(), "ProgramArguments", programData("/opt/echo.vanto/echo"));
  }
  return rest;
}

}  // namespace vanto::manager
