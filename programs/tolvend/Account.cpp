// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Account.h"

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ipc/Domain.h"
#include "tolvend/ErrorNumber.h"
#include "value/Fd.h"

namespace vanto::manager {

namespace {

/// Makes the directory, and gives it to the account unless it belongs to a third user.
std::string giveDirectory(const passwd& account) {
  const Fd directory = openOrCreateDomain(Domain::System);
  if (directory) {
    if (fchown(directory.get(), account.pw_uid, account.pw_gid) == 0) return {};
    return "/run/vanto cannot be given to " + std::string(account.pw_name) + ": " + errorNumberText(errno);
  }
  struct stat facts;
  const bool isGiven = errno == EACCES && lstat("/run/vanto", &facts) == 0 && facts.st_uid == account.pw_uid;
  return isGiven ? "" : "/run/vanto cannot be used: it is another user's, others may change it, or it cannot be made";
}

}  // namespace

std::string becomeAccount(const std::string& name) {
  errno = 0;
  const passwd* account = getpwnam(name.c_str());
  if (account == nullptr) return "there is no user " + name + "; make that user, or name another one";
  if (geteuid() != 0 && geteuid() != account->pw_uid) return "only root can run services as " + name;
  if (geteuid() == 0) {
    if (std::string error = giveDirectory(*account); !error.empty()) return error;
    if (initgroups(account->pw_name, account->pw_gid) != 0 ||
        setresgid(account->pw_gid, account->pw_gid, account->pw_gid) != 0 ||
        setresuid(account->pw_uid, account->pw_uid, account->pw_uid) != 0) {
      return "this process cannot become " + name + ": " + errorNumberText(errno);
    }
  }
  setenv("HOME", account->pw_dir, 1);
  setenv("USER", account->pw_name, 1);
  setenv("LOGNAME", account->pw_name, 1);
  // That of whoever has started this is for nobody else.
  unsetenv("XDG_RUNTIME_DIR");
  unsetenv("XDG_SESSION_ID");
  return {};
}

}  // namespace vanto::manager
