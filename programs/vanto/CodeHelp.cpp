// SPDX-License-Identifier: Apache-2.0
#include "vanto/CodeHelp.h"

namespace vanto::tool {
namespace {

constexpr HelpTopic topics[] = {
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
    {"requirement", R"(Tries requirement texts, by which services say what code may connect.

Usage: vanto requirement check [--against FILE|PID] [--trust DIR]... TEXT

  check  whether a text is a requirement, and whether somebody satisfies it

It has its own --help.
)"},
    {"requirement check", R"(Says whether a text is a requirement, and whether somebody satisfies it.

Usage: vanto requirement check TEXT [--against FILE|PID] [--trust DIR]...

  --against    an executable, a bundle, or a process: prints which conditions hold
  --trust DIR  as for vanto identify

Exit status: 0 satisfied, or a requirement, 1 not, 2 it could not be looked at.

Example:
  vanto requirement check 'signer "acme"' --against $PID
)"},
    {"key", R"(Makes and hands out keys to sign with.

Usage: vanto key new NAME [--output FILE] [--force]
       vanto key public [--output FILE] [--force] FILE
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

Usage: vanto key public [--output FILE] [--force] FILE

  FILE               a private key, which others cannot read
  -o, --output FILE  where to write; without it the key is printed
  --force            replace a file that exists

Exit status: 0 fine, 2 the file is no private key, others can read it, or not written.

Example:
  vanto key public --output acme.plist acme.key
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

Exit status: 0 trusted, 1 added, but revoked, withheld or without a trusted predecessor,
2 not added.

Example:
  vanto key public acme.key | vanto trust add -
)"},
    {"trust list", R"(Lists the keys in the trust directories, a row for each.

Usage: vanto trust list [--json]

  --json  an array of objects with "name", "standing", "fingerprint" and "directory"

A standing is "trusted", "revoked", "no trusted predecessor", or "withheld": no key is
trusted while a directory or its file of revoked keys cannot be relied upon. That, and the
files that are ignored, are told on standard error.

Exit status: 0 fine, 1 files are ignored or keys withheld.

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

std::span<const HelpTopic> codeHelp() {
  return topics;
}

}  // namespace vanto::tool
