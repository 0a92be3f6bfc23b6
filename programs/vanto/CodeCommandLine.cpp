// SPDX-License-Identifier: Apache-2.0
#include "vanto/CodeCommandLine.h"

#include "vanto/CommandGrammar.h"
#include "vanto/IdentifyCommand.h"
#include "vanto/KeyNewCommand.h"
#include "vanto/KeyPublicCommand.h"
#include "vanto/KeySucceedCommand.h"
#include "vanto/RequirementCheckCommand.h"
#include "vanto/SignCommand.h"
#include "vanto/TrustAddCommand.h"
#include "vanto/TrustListCommand.h"
#include "vanto/TrustRemoveCommand.h"
#include "vanto/TrustRevokeCommand.h"
#include "vanto/VerifyCommand.h"

namespace vanto::tool {
namespace {

/// The grammar of the commands about code.
class CodeCommandLine : public CommandGrammar {
 public:
  explicit CodeCommandLine(Console& console) : CommandGrammar(console) {
    addKey();
    addTrust();
    addSign();
    addVerify();
    addIdentify();
    addRequirement();
  }

 private:
  void addKey() {
    CLI::App* key = root().add_subcommand("key");
    key->require_subcommand(1);
    CLI::App* create = add(*key, "new", keyNew_);
    create->add_option("NAME", keyNew_.name)->required();
    create->add_option("-o,--output", keyNew_.output);
    create->add_flag("--force", keyNew_.isForced);
    CLI::App* publish = add(*key, "public", keyPublic_);
    publish->add_option("FILE", keyPublic_.file)->required();
    publish->add_option("-o,--output", keyPublic_.output);
    publish->add_flag("--force", keyPublic_.isForced);
    CLI::App* succeed = add(*key, "succeed", keySucceed_);
    succeed->add_option("OLD", keySucceed_.oldFile)->required();
    succeed->add_option("NEW", keySucceed_.newFile)->required();
  }

  void addTrust() {
    CLI::App* trust = root().add_subcommand("trust");
    trust->require_subcommand(1);
    CLI::App* addition = add(*trust, "add", trustAdd_);
    addition->add_option("FILE", trustAdd_.file)->required();
    addition->add_flag("--system", trustAdd_.places.isSystem);
    add(*trust, "list", trustList_)->add_flag("--json", trustList_.isJson);
    CLI::App* removal = add(*trust, "remove", trustRemove_);
    removal->add_option("NAME", trustRemove_.name)->required();
    removal->add_flag("--system", trustRemove_.places.isSystem);
    CLI::App* revocation = add(*trust, "revoke", trustRevoke_);
    revocation->add_option("KEY", trustRevoke_.key)->required();
    revocation->add_flag("--system", trustRevoke_.places.isSystem);
  }

  void addSign() {
    CLI::App* sign = add(root(), "sign", sign_);
    sign->add_option("PATH", sign_.path)->required();
    sign->add_option("-k,--key", sign_.key)->required();
    sign->add_option("--identifier", sign_.identifier);
    sign->add_option("--entitlements", sign_.entitlements);
  }

  void addVerify() {
    CLI::App* verify = add(root(), "verify", verify_);
    verify->add_option("PATH", verify_.path)->required();
    verify->add_option("--trust", verify_.places.instead)->allow_extra_args(false);
    verify->add_flag("--json", verify_.isJson);
  }

  void addIdentify() {
    CLI::App* identify = add(root(), "identify", identify_);
    identify->add_option("FILE", identify_.file)->required();
    identify->add_option("--trust", identify_.places.instead)->allow_extra_args(false);
    identify->add_flag("--json", identify_.isJson);
  }

  void addRequirement() {
    CLI::App* requirement = root().add_subcommand("requirement");
    requirement->require_subcommand(1);
    CLI::App* check = add(*requirement, "check", requirementCheck_);
    check->add_option("TEXT", requirementCheck_.text)->required();
    check->add_option("--against", requirementCheck_.against);
    check->add_option("--trust", requirementCheck_.places.instead)->allow_extra_args(false);
  }

  KeyNewCommand keyNew_;
  KeyPublicCommand keyPublic_;
  KeySucceedCommand keySucceed_;
  TrustAddCommand trustAdd_;
  TrustListCommand trustList_;
  TrustRemoveCommand trustRemove_;
  TrustRevokeCommand trustRevoke_;
  SignCommand sign_;
  VerifyCommand verify_;
  IdentifyCommand identify_;
  RequirementCheckCommand requirementCheck_;
};

}  // namespace

ExitStatus runCodeCommandLine(int argc, const char* const* argv, Console& console) {
  return CodeCommandLine(console).run(argc, argv);
}

}  // namespace vanto::tool
