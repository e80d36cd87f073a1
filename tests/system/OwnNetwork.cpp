// JACK servers are found by their sockets. Where the system allows it, these tests and all that they start live in a
// network of their own, so that servers which other programs start meanwhile do not end a take.
#include <gtest/gtest.h>

#include <sched.h>

namespace {

struct OwnNetwork final : testing::Environment {
  void SetUp() override { static_cast<void>(unshare(CLONE_NEWNET)); }
};

[[maybe_unused]] const auto* const own_network = testing::AddGlobalTestEnvironment(new OwnNetwork);

} // namespace
