// SPDX-License-Identifier: Apache-2.0
#include "vanto/HelpText.h"

#include <string_view>

namespace vanto::tool {
namespace {

struct Text {
  std::string_view command;
  std::string_view text;
};

constexpr Text texts[] = {
    {"vanto", R"(vanto finds, describes, checks, converts and archives services, and signs code.

Usage: vanto COMMAND ...

  list PLACE...           the services of host bundles and directories, a row for each
  show BUNDLE|EXECUTABLE  everything about one service
  job BUNDLE...           the job that a service manager is given, in one of five forms
  lint BUNDLE...          what is wrong with bundles, or will silently not apply
  cache write|show|check  an archive of services that loads without opening a bundle
  plist FILE              print a property list, or convert it: XML, binary, JSON
  sign PATH               sign a bundle or a single executable
  verify PATH             what was changed since it was signed, and whether to trust who did
  identify FILE|PID       who an executable or a process is to a service that asks
  requirement check TEXT  whether a requirement text is one, and who satisfies it
  key new|public|succeed  make a key to sign with, give it to others, replace it
  trust add|list|remove|revoke
                          whose signatures this user, or the machine, trusts

  -h, --help     this text, or that of a command: vanto COMMAND --help
      --version  the version

Where a PLACE or BUNDLE is asked for, a service bundle (X.vanto) stands for itself, a
host bundle for its services, another directory for the services in it and those of
the host bundles in it. Names and texts from files are printed with control characters
escaped, as \x1b. NO_COLOR takes the colours away.

Exit status: 0 fine, 1 done and found something wrong, 2 could not do it.

Examples:
  vanto list /opt/Mail.app
  vanto lint build/Mail.app && vanto job build/Mail.app > jobs.plist
  vanto list /opt --json | jq -r '.[].identifier'
)"},
    {"list", R"(Lists services, a row for each: identifier, type, bundle.

Usage: vanto list [--json] PLACE...

  PLACE   a host bundle, a directory, or a service bundle
  --json  an array of objects with "bundle" and, where there are any, "identifier",
          "type" and "executable"

Rows come in ascending order of names. What has the name of a service bundle and is
none is told on standard error, and the list goes on. The type is "-" for a service
without one.

Exit status: 0 fine, 1 some bundles are damaged, 2 a place could not be listed.

Examples:
  vanto list /opt/Mail.app
  vanto list /opt ~/Applications
)"},
    {"show", R"(Shows everything about one service: what its bundle says, where its files are, its job.

Usage: vanto show [--json | --description] BUNDLE|EXECUTABLE

  BUNDLE         a service bundle
  EXECUTABLE     the program of a service, or any file beside it
  --json         one object with "bundle", "identifier", "type", "executable",
                 "resources", "serviceDictionary" and "job"
  --description  the library's own description of the object

Exit status: 0 fine, 2 there is no service.

Examples:
  vanto show Mail.app/Contents/VantoServices/org.example.index.vanto
  vanto show /proc/$PID/exe
)"},
    {"job", R"(Prints the job that a service manager is given to start a service on demand.

Usage: vanto job [--format FORM] BUNDLE...

  BUNDLE              a service bundle, or a PLACE that has some
  -f, --format FORM   xml       a property list (default)
                      binary    the same in its compact form
                      json      the same as JSON
                      job-data  the service manager's job data, as a tree
                      ipc       the object that is sent to a service manager, as a tree

For one service bundle the document holds the job, for anything else an array of jobs.
A bundle without identifier or executable has no job.

Exit status: 0 fine, 1 some bundles have no job, 2 a place could not be read.

Examples:
  vanto job org.example.index.vanto
  vanto job --format json /opt/Mail.app | jq '.[].Label'
)"},
    {"cache", R"(Keeps services in a file, from which they are had without opening a bundle.

Usage: vanto cache write FILE PLACE...
       vanto cache show [--json] FILE
       vanto cache check [--json] FILE [PLACE...]

  write  writes the services of the places
  show   lists what the file holds
  check  says which entries are stale, and why

Each has its own --help.
)"},
    {"cache write", R"(Writes the services of places to a cache file.

Usage: vanto cache write FILE [PLACE...]

  FILE   the cache; "-" is standard output
  PLACE  a host bundle, a directory, or a service bundle; without any, the places that
         the cache was written from before

The file is replaced at once and as a whole: whatever happens, it is the old one or the
new one, on the disk. Bundles that are none are told on standard error and left out.

Exit status: 0 fine, 1 written, but some bundles are damaged, 2 not written.

Example:
  vanto cache write /var/cache/vanto/services /opt/Mail.app /opt/Notes.app
)"},
    {"cache show", R"(Lists the services in a cache file, a row for each.

Usage: vanto cache show [--json] FILE

  FILE    the cache; "-" is standard input
  --json  an array of objects, as vanto list has them

Exit status: 0 fine, 2 the file cannot be read or is no cache.

Example:
  vanto cache show /var/cache/vanto/services
)"},
    {"cache check", R"(Compares a cache file with the bundles on disk.

Usage: vanto cache check [--json] FILE [PLACE...]

  FILE    the cache; "-" is standard input
  PLACE   where to look for services; without any, where the cache was written from
  --json  an array of objects with "bundle", "state" and "reason"

A service is changed (and what of it), damaged, gone, or new. Nothing is printed when the cache
is as the bundles are.

Exit status: 0 nothing is stale, 1 something is, 2 the file cannot be read or is no
cache, or a place cannot be listed.

Example:
  vanto cache check cache || vanto cache write cache
)"},
    {"lint", R"(Says what is wrong with service bundles, or will silently not apply.

Usage: vanto lint [--json] BUNDLE...

  BUNDLE  a service bundle, or a PLACE that has some
  --json  an array of objects with "severity", "file", "key", "problem" and "remedy"

Each line has file, key, severity, problem and remedy:

  error    the service cannot start or be reached, or is open where it was meant to be
           closed
  warning  something will not apply
  note     worth knowing; notes do not change the exit status

Exit status: 0 fine, 1 errors or warnings, 2 a place could not be read.

Example:
  vanto lint build/Mail.app
)"},
    {"plist", R"(Prints a property list for people, or converts it. The form of the input is found out.

Usage: vanto plist [--to FORM] [-o FILE] [FILE]

  FILE               what to read; "-", or none, is standard input
  -t, --to FORM      xml, binary or json
  -o, --output FILE  where to write, replacing the file at once and as a whole; "-", or
                     none, is standard output

JSON has no data, no dates, and one kind of numbers. They are kept apart in this way,
and come back as they were:

  data        {"$data": "base64"}
  date        {"$date": "2026-11-21T08:00:00Z"}, or seconds since 1970 where XML has no text
  real        with a fraction or an exponent: 1.0; also {"$real": "nan"}, "inf", "-inf"
  subtypes    {"$number": {"subtype": 3, "value": 1}}; integers are 4, reals 6
  dictionary  with one of these keys: inside {"$dictionary": {...}}

What a form cannot carry is refused with the key, and so is JSON's null. XML keeps the
values of numbers but not their subtypes.

Exit status: 0 fine, 2 unreadable, no property list, or not to be carried.

Examples:
  vanto plist Contents/Info.plist
  vanto plist -t json Info.plist | jq .VantoService | vanto plist -t xml -o service.plist
)"},
    {"sign", R"(Signs a bundle or a single executable.

Usage: vanto sign --key FILE [--identifier ID] [--entitlements FILE] PATH

  PATH                 a bundle, or an executable that is in none
  -k, --key FILE       the private key
  --identifier ID      of a single executable; without it, its file name. A bundle has its
                       own, and another is refused
  --entitlements FILE  a property list with a dictionary, as plist reads it

The signature is about the executable, the Info dictionary, every other file and symbolic
link of the bundle, and the entitlements; service bundles in VantoServices have their own.
It is written to Signature.plist beside the Info dictionary, or to PATH.Signature.plist.

Exit status: 0 signed, 2 not signed.

Example:
  vanto sign --key acme.key build/Mail.app
)"},
    {"verify", R"(Compares everything that a signature is about with what is there.

Usage: vanto verify [--trust DIR]... [--json] PATH

  PATH         a bundle, or an executable
  --trust DIR  a directory of trusted keys, in place of the machine's and the user's
  --json       one object with "path", "valid", "identifier", "fingerprint" and "defects"

There is a line for each thing that is wrong: what was changed, added or is missing, or
that the signer is not trusted.

Exit status: 0 valid, 1 not valid, 2 it could not be looked at.

Example:
  vanto verify /opt/Mail.app
)"},
    {"identify", R"(Says who an executable is to a service that asks who its client is.

Usage: vanto identify [--trust DIR]... [--json] FILE|PID

  FILE         an executable, or a bundle
  PID          a process: what the code-signing service says of it, by its own trust
  --trust DIR  a directory of trusted keys, in place of the machine's and the user's
  --json       one object with "executable", "digest", "signature", "valid", and
               "identifier", "signers" and "entitlements" or the "reason"

Executable and Info dictionary are compared with the signature, other files of a bundle are
not: vanto verify does that.

Exit status: 0 valid, 1 not valid, 2 it could not be looked at.

Examples:
  vanto identify /opt/Mail.app
  vanto identify $PID
)"},
    {"requirement", "Usage: vanto requirement check TEXT [--against FILE|PID]\n"},
    {"requirement check", R"(Says whether a text is a requirement, and whether somebody satisfies it.

Usage: vanto requirement check TEXT [--against FILE|PID] [--trust DIR]...

  --against    an executable, a bundle, or a process: prints which conditions hold
  --trust DIR  as for vanto identify

Exit status: 0 satisfied (or a requirement), 1 not, 2 it could not be looked at.
Example:
  vanto requirement check 'signer "acme"' --against $PID
)"},
    {"key", R"(Makes and hands out keys to sign with.

Usage: vanto key new NAME [--output FILE] [--force]
       vanto key public FILE
       vanto key succeed OLD NEW

  new      makes a key, in a file that only its owner can read
  public   prints the public key, for others to trust
  succeed  prints the statement that a new key takes the place of an old one

Each has its own --help.
)"},
    {"key new", R"(Makes a key to sign with.

Usage: vanto key new [--output FILE] [--force] NAME

  NAME               what people and requirements call the signer; also a file name
  -o, --output FILE  where to write; without it NAME.key
  --force            replace a file that exists, whose key is then lost

The file is for its owner alone. Who can read it can sign in that name.

Exit status: 0 fine, 2 not made.

Example:
  vanto key new acme --output ~/.keys/acme.key
)"},
    {"key public", R"(Prints the public key that belongs to a private one.

Usage: vanto key public FILE

  FILE  a private key, which others cannot read

Exit status: 0 fine, 2 the file is no private key, or others can read it.

Example:
  vanto key public acme.key > acme.plist
)"},
    {"key succeed", R"(Prints the statement that a new key takes the place of an old one.

Usage: vanto key succeed OLD NEW

  OLD  the private key that is given up
  NEW  the new key, private or public

Who trusts the old key and adds the statement trusts the new one, also under the old name,
until the old one is revoked.

Exit status: 0 fine, 2 there is no such statement.

Example:
  vanto key succeed acme-2026.key acme-2027.key > acme-2027.plist
)"},
    {"trust", R"(Decides whose signatures are trusted.

Usage: vanto trust add [--system] FILE
       vanto trust list [--json]
       vanto trust remove [--system] NAME
       vanto trust revoke [--system] NAME|FINGERPRINT

  add     trusts a public key, or takes the statement that it succeeds another
  list    the keys that are there
  remove  takes one away
  revoke  has one never be trusted again, wherever it lies and whatever it signed

Each has its own --help.
)"},
    {"trust add", R"(Trusts a public key.

Usage: vanto trust add [--system] FILE

  FILE      a public key, or the statement that it succeeds another; "-" is standard input
  --system  for the machine, in /etc/vanto/trust, not for this user

Exit status: 0 trusted, 1 added, but revoked or without a trusted predecessor, 2 not added.

Example:
  vanto key public acme.key | vanto trust add -
)"},
    {"trust list", R"(Lists the keys in the trust directories, a row for each.

Usage: vanto trust list [--json]

  --json  an array of objects with "name", "standing", "fingerprint" and "directory"

A standing is "trusted", "revoked" or "no trusted predecessor". Files that are ignored are
told on standard error.

Exit status: 0 fine, 1 files are ignored.

Example:
  vanto trust list
)"},
    {"trust remove", R"(Takes a key out of a trust directory.

Usage: vanto trust remove [--system] NAME

  NAME      as in vanto trust list
  --system  from the machine's directory, not the user's

Exit status: 0 removed, 2 not removed.

Example:
  vanto trust remove acme
)"},
    {"trust revoke", R"(Has a key never be trusted again, nor what only it says succeeds it.

Usage: vanto trust revoke [--system] NAME|FINGERPRINT

  NAME         of a key in a trust directory
  FINGERPRINT  of any key, also one that is not there: 64 hexadecimal digits
  --system     for the machine, not for this user

Exit status: 0 revoked, 2 not revoked.

Example:
  vanto trust revoke acme-2026
)"},
};

}  // namespace

std::string helpText(const std::string& command) {
  for (const Text& text : texts) {
    if (text.command == command) return std::string(text.text);
  }
  return helpText("vanto");
}

}  // namespace vanto::tool
