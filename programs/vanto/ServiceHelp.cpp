// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServiceHelp.h"

namespace vanto::tool {
namespace {

constexpr HelpTopic topics[] = {
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
};

}  // namespace

std::span<const HelpTopic> serviceHelp() {
  return topics;
}

}  // namespace vanto::tool
