// SPDX-License-Identifier: Apache-2.0
#include "runtime/CLibrary.h"

#include <cstring>
#include <utility>

#include <dlfcn.h>
#include <sys/stat.h>

namespace vanto::testing {
namespace {

CLibrary* theLibrary = nullptr;

}  // namespace

CLibrary::CLibrary(std::function<void(std::string_view, std::string_view)> noteFunction)
    : note(std::move(noteFunction)) {
  theLibrary = this;
}

CLibrary::~CLibrary() {
  theLibrary = nullptr;
}

CLibrary* CLibrary::current() noexcept {
  return theLibrary;
}

}  // namespace vanto::testing

using vanto::testing::CLibrary;

extern "C" {

// The linker leads the program's calls of a function to its __wrap_ name, and calls of its __real_ name to the
// function.
int __real_stat(const char* path, struct stat* status);
void* __real_dlsym(void* handle, const char* name);
char* __real_dlerror();

int __wrap_stat(const char* path, struct stat* status) {
  CLibrary* library = CLibrary::current();
  if (library == nullptr || std::strcmp(path, CLibrary::policyPath) != 0) return __real_stat(path, status);
  library->note("stat", path);
  if (library->policyFileExists) return __real_stat("/", status);
  errno = library->policyFileError;
  return -1;
}

void* __wrap_dlsym(void* handle, const char* name) {
  if (CLibrary* library = CLibrary::current()) {
    library->note("dlsym", std::string(handle == RTLD_DEFAULT ? "default" : "other") + ", " + name);
  }
  return __real_dlsym(handle, name);
}

char* __wrap_dlerror() {
  CLibrary* library = CLibrary::current();
  if (library == nullptr) return __real_dlerror();
  library->note("dlerror", "");
  if (!library->symbolError) return __real_dlerror();
  return library->symbolError->empty() ? nullptr : library->symbolError->data();
}
}
