// The main of a test program whose tests run inside a started library: Initialize before the
// tests, Finalize after them (not while GoogleTest only lists the tests).
#include <gtest/gtest.h>

#include <cstring>

#include "OvComponentsRTL.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  Initialize();
  const int LResult = RUN_ALL_TESTS();
  Finalize();
  return LResult;
}
