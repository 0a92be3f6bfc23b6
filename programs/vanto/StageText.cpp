// SPDX-License-Identifier: Apache-2.0
#include "vanto/StageText.h"

namespace vanto::tool {
namespace {

constexpr StageText texts[] = {
    {"held", "it is held, so that no client starts it", "let it start again: vanto start"},
    {"pause", "it had failed before, and its pause was not over",
     "mend what made it fail, then end the pause: vanto start"},
    {"limit", "it had as many instances as it may have",
     "have clients close connections that they do not need, or the service end instances sooner"},
    {"resources", "the manager could make no process for it",
     "look for too many processes, descriptors or too little memory: ulimit -a, free"},
    {"proxy", "vantoproxy, through which services are executed, could not be executed itself",
     "install vantoproxy where the manager looks for it: tolvend --proxy"},
    {"call", "vantoproxy was called in a way that it does not know",
     "have manager and vantoproxy of one version; print the job: vanto job"},
    {"handover", "vantoproxy found what the manager handed over to be wrong",
     "have manager and vantoproxy of one version, and less in --keep"},
    {"descriptors", "vantoproxy could not put the descriptors of the process in order",
     "see that /dev/null is there, and that the limit of descriptors is not too low: ulimit -n"},
    {"state", "vantoproxy could not bring the process into its documented state",
     "see what the system forbids the manager, such as by its own sandbox"},
    {"executable", "nothing that can be executed is at the path of its executable",
     "put the executable there, or load the bundle from where it is now: vanto lint, vanto load"},
    {"execution", "the system refused to execute it",
     "see that it is a program for this machine, with its loader, and may be executed: file, ls -l, vanto lint"},
    {"listening", "it was executed, and did not come as far as to accept clients",
     "run its executable by hand, and see why it does not get on; vanto logs has what it wrote"},
    {"confinement", "it listened, and is confined less than its manager demands, so it was ended",
     "mend what the cause says of its profile, or give it one that this kernel can enforce (vanto lint), or lower what "
     "is "
     "demanded: tolvend --floor"},
    {"greeting", "it listened, and ended before it had greeted a client",
     "look for what it does before and with its first client; vanto logs has what it wrote"},
    {"serving", "it served clients, and then ended by a failure",
     "look for what its last request has done to it; vanto logs has what it wrote"},
    {"removed", "its job was unloaded while a client waited", "load it again: vanto load"},
    {"manager", "its manager ended while a client waited", "start tolvend again; it still has the job"},
};

constexpr StageText unknown{"", "this tool does not know this stage", "use a vanto of the version of its manager"};

}  // namespace

const StageText& StageText::of(std::string_view stage) noexcept {
  for (const StageText& text : texts) {
    if (text.stage == stage) return text;
  }
  return unknown;
}

}  // namespace vanto::tool
