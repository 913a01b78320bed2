// Builds the engine's global tables once before any test runs.
#include <gtest/gtest.h>

#include "uci/command_loop.h"

namespace {

class EngineTables : public ::testing::Environment {
 public:
  void SetUp() override { uci::initEngine(); }
};

const auto* const engineTables = ::testing::AddGlobalTestEnvironment(new EngineTables);

}  // namespace
