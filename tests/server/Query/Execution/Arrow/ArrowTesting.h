#pragma once

#include <gtest/gtest.h>

#include "ArrowReader.h"
#include "ArrowSpec.h"
#include "support/Asserts.h"

namespace sqxer::test {

inline Table Read(const Spec& table, bool takesBinaryAsText = false) {
  ArrowSchema schema = MakeSchema(table);
  ArrowArray array = MakeArray(table);
  return ReadArrowTable(&schema, &array, {L"t", takesBinaryAsText});
}

/// A test after which everything must have been released.
class ArrowTest : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(Live::schemas, 0);
    EXPECT_EQ(Live::arrays, 0);
    EXPECT_EQ(Live::streams, 0);
  }
};

}  // namespace sqxer::test
