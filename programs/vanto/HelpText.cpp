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
    {"vanto", R"(vanto finds, describes, checks, converts and archives services, and gives orders to
service managers.

Usage: vanto COMMAND ...

  list PLACE...           the services of host bundles and directories, a row for each
  show BUNDLE|EXECUTABLE  everything about one service
  job BUNDLE...           the job that a service manager is given, in one of five forms
  lint BUNDLE...          what is wrong with bundles, or will silently not apply
  cache write|show|check  an archive of services that loads without opening a bundle
  plist FILE              print a property list, or convert it: XML, binary, JSON
  units BUNDLE...         systemd units that start services without a service manager

  load BUNDLE...          give services to the service manager
  status [LABEL...]       what the service manager runs, once or all the time
  start|stop|restart|hold|unload LABEL...
                          orders about services that it has
  logs LABEL              what a service has written
  why LABEL               the story of the last failure of a service

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
    {"units", R"(Makes systemd units that start services on demand, without a service manager.

Usage: vanto units [--output DIR] [--account USER] BUNDLE...

  BUNDLE              a service bundle, or a PLACE that has some
  -o, --output DIR    write NAME.socket and NAME.service into DIR, replacing each file as
                      a whole; without it both are printed
      --account USER  the user that a service of the system runs as, which must be said

The units of a service of the user are for the systemd of the user. systemd knows no
sessions, so a service of the session has none. What is not as under tolvend stands in the
units.

Exit status: 0 fine, 2 a service has no units, or a file cannot be written.

Example:
  vanto units -o ~/.config/systemd/user Mail.app
)"},
    {"load", R"(Gives the jobs of services to the service manager, which starts them on demand.

Usage: vanto load [--domain DOMAIN] [--timeout SECONDS] BUNDLE...

  BUNDLE                 a service bundle, a PLACE that has some, or a file with jobs as
                         vanto job prints them; "-" is standard input
  -d, --domain DOMAIN    session, user or system; without it what each job says, or user
      --timeout SECONDS  how long to wait for each answer; 60 unless said

A job that is refused is told on standard error, and the others are loaded. A process of
a job that is replaced goes on.

Exit status: 0 all are loaded, 1 loaded, but some cannot be started from where they are,
2 some are not loaded.

Examples:
  vanto load /opt/Mail.app
  vanto job Mail.app | vanto load -
)"},
    {"unload", R"(Has the service manager end services and forget them.

Usage: vanto unload [--domain DOMAIN] [--timeout SECONDS] LABEL...

  LABEL                  the label of a job, or the path of its bundle
  -d, --domain DOMAIN    session, user or system; without it the first manager in
                         this order that has the label
      --timeout SECONDS  how long to wait for each answer; 60 unless said

It waits until their processes have ended. Clients that wait are told.

Exit status: 0 fine, 2 it could not be done for all of them.

Example:
  vanto unload org.example.index
)"},
    {"start", R"(Starts services, without waiting for a client.

Usage: vanto start [--domain DOMAIN] [--timeout SECONDS] LABEL...

  LABEL                  the label of a job, or the path of its bundle
  -d, --domain DOMAIN    session, user or system; without it the first manager in
                         this order that has the label
      --timeout SECONDS  how long to wait for each answer; 60 unless said

Lets a service that is held start again, and forgets its pause after failures. It waits
until the service listens.

Exit status: 0 fine, 2 it could not be done for all of them.

Example:
  vanto start org.example.index
)"},
    {"stop", R"(Ends the processes of services. The next client starts them again.

Usage: vanto stop [--domain DOMAIN] [--timeout SECONDS] LABEL...

  LABEL                  the label of a job, or the path of its bundle
  -d, --domain DOMAIN    session, user or system; without it the first manager in
                         this order that has the label
      --timeout SECONDS  how long to wait for each answer; 60 unless said

It waits until they have ended; one that does not end is killed after 20 s.

Exit status: 0 fine, 2 it could not be done for all of them.

Example:
  vanto stop org.example.index
)"},
    {"restart", R"(Ends the processes of services, and starts them again.

Usage: vanto restart [--domain DOMAIN] [--timeout SECONDS] LABEL...

  LABEL                  the label of a job, or the path of its bundle
  -d, --domain DOMAIN    session, user or system; without it the first manager in
                         this order that has the label
      --timeout SECONDS  how long to wait for each answer; 60 unless said

It waits until the service listens.

Exit status: 0 fine, 2 it could not be done for all of them.

Example:
  vanto restart org.example.index
)"},
    {"hold", R"(Ends the processes of services, and lets no client start them.

Usage: vanto hold [--domain DOMAIN] [--timeout SECONDS] LABEL...

  LABEL                  the label of a job, or the path of its bundle
  -d, --domain DOMAIN    session, user or system; without it the first manager in
                         this order that has the label
      --timeout SECONDS  how long to wait for each answer; 60 unless said

Their clients are told so, until vanto start.

Exit status: 0 fine, 2 it could not be done for all of them.

Example:
  vanto hold org.example.index
)"},
    {"status", R"(Shows the jobs of service managers, a row for each.

Usage: vanto status [--json] [--watch] [--domain DOMAIN] [--timeout SECONDS] [LABEL...]

  LABEL                  the label of a job, or the path of its bundle; without any, all
      --json             an array of objects with "domain" and all that the manager tells;
                         with --watch an object a line for each job and each change
  -w, --watch            go on with each change until the manager ends; a terminal always
                         shows how it is, elsewhere there is a row for each change
  -d, --domain DOMAIN    session, user or system; without it all that run
      --timeout SECONDS  how long to wait for each answer; 60 unless said

A row has label, state, process, its age, how often it was started and has failed, and the
last failure. With several managers it has the domain too.

Exit status: 0 fine, 2 no manager runs, a label is not known, or the manager has ended.

Examples:
  vanto status
  vanto status --json | jq -r '.[] | select(.failures > 0).label'
)"},
    {"logs", R"(Prints what a service has written to its standard output and error.

Usage: vanto logs [--lines N] [--follow] [--domain DOMAIN] [--timeout SECONDS] LABEL

  LABEL                  the label of a job, or the path of its bundle
  -n, --lines N          the last N lines; without it all that the manager has kept
  -f, --follow           go on with further lines until the job is unloaded or
                         the manager ends
  -d, --domain DOMAIN    session, user or system; without it the first manager in
                         this order that has the label
      --timeout SECONDS  how long to wait for each answer; 60 unless said

A line has the local time, the process, and the text.

Exit status: 0 fine, 2 no manager has the label, or it has ended, or the job
was unloaded.

Example:
  vanto logs -n 20 -f org.example.index
)"},
    {"why", R"(Tells the story of the last failure of a service, in ten lines at most.

Usage: vanto why [--domain DOMAIN] [--timeout SECONDS] LABEL

  LABEL                  the label of a job, or the path of its bundle
  -d, --domain DOMAIN    session, user or system; without it the first manager in
                         this order that has the label
      --timeout SECONDS  how long to wait for each answer; 60 unless said

It says when what was to be run, how far it came, what ended it, when it is tried again,
what it wrote last, and what to do.

Exit status: 0 it has not failed, 1 it has, 2 no manager has the label.

Example:
  vanto why org.example.index
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
