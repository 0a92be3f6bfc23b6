// SPDX-License-Identifier: Apache-2.0
#include "soak/Tally.h"

#include <gtest/gtest.h>

#include "soak/Load.h"
#include "support/RunningManager.h"
#include "support/TemporaryDirectory.h"

namespace vanto::soak {
namespace {

using test::IpcPointer;

constexpr std::int64_t millisecond = 1'000'000;
constexpr Spent patient{static_cast<std::int64_t>(Load::bound), millisecond};
constexpr Spent ranOut{50 * millisecond, 51 * millisecond};

/// A tally in which nothing is wrong.
class SoakTally : public ::testing::Test {
 protected:
  SoakTally() {
    for (const Service service : services) answer(service);
    fail(VANTO_ERROR_TIMED_OUT, ranOut);
    EXPECT_TRUE(isGood());
  }

  [[nodiscard]] bool isGood() const { return tally_.report(ledger_); }

  std::uint64_t answer(Service service, Spent last = patient) {
    const std::uint64_t number = tally_.begin();
    ledger_.carryOut(service, number);
    tally_.end(number, IpcPointer(vanto_int64_create(static_cast<std::int64_t>(number))).get(), last);
    return number;
  }
  std::uint64_t fail(vanto_error_code_t code, Spent last = patient) {
    const std::uint64_t number = tally_.begin();
    tally_.end(number, IpcPointer(vanto_error_create(code, nullptr)).get(), last);
    return number;
  }

  const test::TemporaryDirectory directory_;
  Ledger ledger_{directory_ / "ledger"};
  Tally tally_;
};

TEST_F(SoakTally, IsWrongWhenAStepOutlastsItsOwnBound) {
  // Less than what others allow.
  tally_.noteStep({50 * millisecond, 9'000 * millisecond});
  EXPECT_FALSE(isGood());
}

TEST_F(SoakTally, TakesATimeOutOnlyWhenAShortTimeIsOver) {
  fail(VANTO_ERROR_TIMED_OUT, ranOut);
  EXPECT_TRUE(isGood());
  fail(VANTO_ERROR_TIMED_OUT, {50 * millisecond, 49 * millisecond});
  EXPECT_FALSE(isGood());
}

TEST_F(SoakTally, TakesNoTimeOutOfOneWhoWaits) {
  fail(VANTO_ERROR_TIMED_OUT, {patient.bound, patient.bound});
  EXPECT_FALSE(isGood());
}

TEST_F(SoakTally, IsWrongWhenARequestIsLost) {
  static_cast<void>(tally_.begin());
  EXPECT_FALSE(isGood());
}

TEST_F(SoakTally, IsWrongWhenARequestIsCarriedOutByTwoProcesses) {
  const std::uint64_t number = answer(Service::Multiple);
  EXPECT_TRUE(isGood());
  ledger_.carryOut(Service::Multiple, number);
  EXPECT_FALSE(isGood());
}

TEST_F(SoakTally, IsWrongWhenARequestEndsTwice) {
  const std::uint64_t number = answer(Service::Shared);
  tally_.end(number, IpcPointer(vanto_int64_create(static_cast<std::int64_t>(number))).get(), patient);
  EXPECT_FALSE(isGood());
}

TEST_F(SoakTally, IsWrongWhenWhoIsToldThatThereIsNoServiceWasServed) {
  const std::uint64_t closed = fail(VANTO_ERROR_CLOSED);
  const std::uint64_t untouched = fail(VANTO_ERROR_START);
  ledger_.carryOut(Service::Multiple, closed);
  EXPECT_TRUE(isGood());
  ledger_.carryOut(Service::Multiple, untouched);
  EXPECT_FALSE(isGood());
}

TEST_F(SoakTally, IsWrongForErrorsThatNobodyHasToExpect) {
  fail(VANTO_ERROR_NO_SERVICE);
  EXPECT_TRUE(isGood());
  fail(VANTO_ERROR_PROTOCOL);
  EXPECT_FALSE(isGood());
}

}  // namespace
}  // namespace vanto::soak
