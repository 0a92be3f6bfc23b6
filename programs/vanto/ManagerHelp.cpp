// SPDX-License-Identifier: Apache-2.0
#include "vanto/ManagerHelp.h"

namespace vanto::tool {
namespace {

constexpr HelpTopic topics[] = {
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

A row has label, state, process, its age, how far it is confined, how often it was started
and has failed, and the last failure. With several managers it has the domain too. Of several
processes it is the weakest confinement; "-" stands for what is not known. Why a service is
confined no further is told by vanto why, and in full by "receipt" in the JSON.

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
    {"why", R"(Tells the story of the last failure of a service, and why it is not confined further.

Usage: vanto why [--domain DOMAIN] [--timeout SECONDS] LABEL

  LABEL                  the label of a job, or the path of its bundle
  -d, --domain DOMAIN    session, user or system; without it the first manager in
                         this order that has the label
      --timeout SECONDS  how long to wait for each answer; 60 unless said

The story says when what was to be run, how far it came, what ended it, when it is tried
again, what it wrote last, and what to do. Of a service that runs it says how far it is
confined, and what its receipt tells: what its profile asks for, what this kernel cannot deny
of that, why the profile was not entered, which paths got no rule. Each takes ten lines at
most; the whole receipt is in vanto status --json.

Exit status: 0 it has not failed, 1 it has, 2 no manager has the label.

Example:
  vanto why org.example.index
)"},
};

}  // namespace

std::span<const HelpTopic> managerHelp() {
  return topics;
}

}  // namespace vanto::tool
