// SPDX-License-Identifier: Apache-2.0
#include "sandbox/BaseProfiles.h"

#include <algorithm>
#include <array>

namespace vanto {
namespace {

constexpr std::array profiles{
    BaseProfile{"base", R"(version 1
# Libraries loaded late, conversions and plug-ins of the C library
allow read /lib /lib64 /usr/lib /usr/lib64 /usr/local/lib
allow read /etc/ld.so.cache /etc/ld.so.conf /etc/ld.so.conf.d
# Language and time zone
allow read /usr/share/locale /usr/share/i18n /usr/share/zoneinfo /etc/locale.alias /etc/localtime /etc/timezone
# Users and groups: files, and the sockets of the services that know more of them
allow read /etc/passwd /etc/group /etc/nsswitch.conf
allow socket /run/systemd/userdb /run/nscd/socket /var/run/nscd/socket
# The system log; the second is where the first leads on many systems
allow socket /dev/log /run/systemd/journal/dev-log
# Devices without contents
allow read,write /dev/null /dev/zero /dev/full
allow read /dev/random /dev/urandom
# The process itself, and what the C library asks about the machine
allow read /proc/self /proc/thread-self /proc/cpuinfo /proc/meminfo /proc/stat
allow read /proc/sys/vm/overcommit_memory /sys/devices/system/cpu
)"},
    BaseProfile{"network-client", R"(version 1
# What resolving names and checking certificates read; which ports may be used, the profile says itself
allow read /etc/hosts /etc/host.conf /etc/resolv.conf /etc/gai.conf /etc/services /etc/protocols
allow read /run/systemd/resolve /run/resolvconf /run/NetworkManager/resolv.conf
allow socket /run/systemd/resolve/io.systemd.Resolve
allow read /etc/ssl/certs /etc/ssl/openssl.cnf /etc/ssl/cert.pem /etc/pki /etc/ca-certificates
allow read /usr/share/ca-certificates /usr/local/share/ca-certificates
)"},
    BaseProfile{"temporary", R"(version 1
allow read,write,create,remove,rename /tmp /var/tmp
)"},
};

}  // namespace

std::span<const BaseProfile> baseProfiles() noexcept {
  return profiles;
}

const BaseProfile* baseProfileNamed(std::string_view name) noexcept {
  const auto* const found = std::ranges::find(profiles, name, &BaseProfile::name);
  return found == profiles.end() ? nullptr : found;
}

}  // namespace vanto
