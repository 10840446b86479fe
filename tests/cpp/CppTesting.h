/// @file
/// Models of the meta models that code was generated for.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "kr/zero/Model.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

/// A registry with the example's library and with everything, by the generated code.
const meta::MetaRegistry& generatedRegistry();

/// Expects a ModelError whose text contains all of these.
template <class Act, class... Parts>
void expectRefused(const Act& act, const Parts&... parts) {
  try {
    act();
    FAIL() << "nothing was thrown";
  } catch (const ModelError& error) {
    for (const std::string& part : {std::string(parts)...})
      EXPECT_THAT(error.what(), testing::HasSubstr(part));
  }
}

}  // namespace kr::zero::test
