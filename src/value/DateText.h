// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PlistString.h>

namespace vanto {

/// Times as text for people.
struct DateText {
  /// `2026-11-21T08:00:00Z`, with a fraction of a second behind the seconds where there is one, in as few digits as
  /// tell the time from its neighbours. Years before 0 have a sign, years beyond 9999 more digits. Where neighbouring
  /// times are more than a second apart, for infinities and for NaN it is `1e+300 seconds since 1970`.
  [[nodiscard]] static Ref<PlistString> create(double secondsSince1970);
};

}  // namespace vanto
