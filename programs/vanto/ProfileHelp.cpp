// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileHelp.h"

namespace vanto::tool {
namespace {

constexpr HelpTopic topics[] = {
    {"profile", R"(Checks, explains and compares sandbox profiles.

Usage: vanto profile check [--json] [VALUES] FILE
       vanto profile explain [VALUES] FILE RIGHT [PATH|PORT]
       vanto profile diff [VALUES] OLD NEW
       vanto profile show [NAME]
       vanto profile run [VALUES] FILE -- COMMAND...
       vanto profile learn [--bundle BUNDLE] [--out FILE] [--force] -- COMMAND...

  check    what is wrong, and what each kernel would leave open
  explain  whether something is allowed, and which line decides
  diff     what a change newly allows and newly denies
  show     a base profile
  run      runs a command under a profile
  learn    runs a command, and writes the profile that allows what it did

VALUES, which a profile with parameters such as ${VantoService_path} needs, are:
  --bundle BUNDLE         a service, whose values the parameters have
  --parameter NAME=VALUE  a value of one parameter

Each has its own --help. Only run needs a kernel that can confine, and only learn strace.
)"},
    {"profile check", R"(Says what is wrong with a sandbox profile, and what kernels would leave open of what it denies.

Usage: vanto profile check [--json] [--bundle BUNDLE] [--parameter NAME=VALUE]... FILE

  FILE                    a profile; "-" is standard input
  --json                  an object with "findings" and "kernels"
  --bundle BUNDLE         a service, whose values the parameters of the profile have
  --parameter NAME=VALUE  a value of one parameter; others stand for themselves

Each finding has line and column, problem and remedy. Errors keep a profile from being
entered. Warnings are about rules that do nothing, or more than they look like, such as files
that may be changed and executed; notes about paths that are not there or get no rule, and do
not change the exit status. Then there is a row for each version of Linux that changes what
becomes of the profile.

Exit status: 0 fine, 1 errors or warnings, 2 the profile or the bundle could not be read.

Example:
  vanto profile check --bundle Echo.vanto Echo.vanto/Contents/Resources/locked.sb
)"},
    {"profile explain", R"(Says whether a sandbox profile allows something, and which line decides.

Usage: vanto profile explain [--bundle BUNDLE] [--parameter NAME=VALUE]...
                             FILE RIGHT [PATH|PORT]

  FILE                    a profile; "-" is standard input
  RIGHT                   read write create remove truncate rename execute ioctl socket,
                          with a PATH; bind connect, with a PORT; or network abstract
                          signal processes system
  --bundle BUNDLE         a service, whose values the parameters of the profile have
  --parameter NAME=VALUE  a value of one parameter; others stand for themselves

Symbolic links are followed, as they are here. Any one of the lines would be enough. What is
executed is read too, and what is renamed leaves one directory and comes to another, so read,
or create and remove, are asked for besides. Removing and renaming are up to the directory
that PATH is in, creating to PATH itself where it is one. Renaming fails, too, between
directories with different rights; these are told.

What is not there gets no rule, nor what is behind a symbolic link that the profile lets be
made, and files none to create, remove or rename: what only such lines allow would be allowed,
but is not.

Exit status: 0 allowed, 1 denied, 2 the profile or the bundle could not be read, 3 it would
be allowed if what the line names got a rule.

Example:
  vanto profile explain locked.sb read /etc/passwd
)"},
    {"profile diff", R"(Says what a changed sandbox profile newly allows and newly denies.

Usage: vanto profile diff [--bundle BUNDLE] [--parameter NAME=VALUE]... OLD NEW

  OLD, NEW                profiles; one may be "-", standard input
  --bundle BUNDLE         a service, whose values the parameters of the profiles have
  --parameter NAME=VALUE  a value of one parameter; others stand for themselves

Symbolic links are followed, as they are here, but those that the profile lets be made: what
lies behind them gets no rule. What is written otherwise and means the same is no difference.

Exit status: 0 nothing is newly allowed, 1 something is, or is no longer required, 2 a
profile or the bundle could not be read.

Example:
  git show HEAD:locked.sb | vanto profile diff - locked.sb
)"},
    {"profile show", R"(Prints a base profile, which others take in with "include NAME".

Usage: vanto profile show [NAME]

  NAME  a base profile; without it the names of all are listed

Exit status: 0 fine, 2 there is none with this name.

Example:
  vanto profile show base
)"},
    {"profile run", R"(Runs a command under a sandbox profile.

Usage: vanto profile run [--bundle BUNDLE] [--parameter NAME=VALUE]...
                         FILE -- COMMAND...

  FILE                    a profile; "-" is standard input
  COMMAND                 a program and its arguments
  --bundle BUNDLE         a service, whose values the parameters of the profile have
  --parameter NAME=VALUE  a value of one parameter; what others stand for gets no rule

The profile has to allow read,execute for COMMAND and for its loader or interpreter, which a
service does not need. What the platform itself needs is given besides, as to a service; to
listen under its name, to that of BUNDLE. How far COMMAND is confined, what the kernel cannot
deny, or allow, and paths that are not there, are told on standard error.

Exit status: 0 or whatever else COMMAND ends with, 2 it was not run.

Example:
  vanto profile run --bundle Echo.vanto locked.sb -- /usr/bin/env
)"},
    {"profile learn", R"(Runs a command, and writes the least sandbox profile that allows what it did.

Usage: vanto profile learn [--bundle BUNDLE] [--out FILE] [--force] -- COMMAND...

  COMMAND                  a program and its arguments
  --bundle BUNDLE          the service that COMMAND is
  -o, --out, --output FILE where the profile goes; without it to the output, behind that of
                           COMMAND
  --force                  replace a file that is there

COMMAND is traced with strace, and waited for with all processes that it leaves; input,
output and messages are its own. Stop one that does not end with Ctrl-C or SIGTERM. Comments
tell what no profile can say, and where one has to say more. Paths are absolute: put
${VantoService_path} and the like in by hand. Another run may do more, so read the profile.

The profile allows COMMAND to be executed, as run needs it. A service is confined later, so
with --bundle it does not, nor what the platform allows the service anyway. Name no profile
in its bundle before, start it like this, and have clients call it.

Exit status: 0 or whatever else COMMAND ends with, once the profile is written; 2 there is
none.

Examples:
  vanto profile learn --out locked.sb -- /usr/bin/gzip -k notes
  vanto profile run locked.sb -- /usr/bin/gzip -kf notes
  vanto profile learn --bundle Echo.vanto --out echo.sb -- Echo.vanto/Contents/Linux/echo
)"},
};

}  // namespace

std::span<const HelpTopic> profileHelp() {
  return topics;
}

}  // namespace vanto::tool
