// Test assertions run in a bounded child (see Bounded.h): the child prints its failures
// as they happen and exits 1 if there were any; the parent fails when the child failed,
// crashed or ran out of its CPU seconds, and hands back the child's peak memory.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/Bounded.h"

namespace zmtest {

template <class Body>
Outcome ExpectBounded(const Limits& limits, Body&& body) {
    const Outcome outcome = RunBounded(limits, [&](int& code) {
        body();
        code = ::testing::Test::HasFailure() ? 1 : 0;
        return std::string();
    });
    EXPECT_TRUE(outcome.exited && outcome.code == 0)
        << "the bounded part " << outcome.Describe() << " (its failures are printed above)";
    return outcome;
}

// Megabytes a bounded part may add to its peak: more under AddressSanitizer, whose
// quarantine keeps up to 256 MB of freed blocks resident.
inline long AllowedGrowthKb(long megabytes) {
    return (megabytes + (kAddressSanitizer ? 256 : 0)) * 1024;
}

}  // namespace zmtest
