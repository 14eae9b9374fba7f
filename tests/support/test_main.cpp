// The main function of the test programs: a thread that is prepared for the library, and a look at the heaps after
// every test.

#include <cstdio>

#include <windows.h>

#include <gtest/gtest.h>

#include <quillet/thread.h>

#include "support/process_state.h"

namespace {

class HeapListener : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override { EXPECT_EQ(quillet::test::damagedHeap(), nullptr); }
};

}  // namespace

int main(int argc, char** argv) {
  // A program that dies must show what it was at.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  testing::InitGoogleTest(&argc, argv);
  // Ends of tests are reported to the last listener first: a damaged heap counts for the test that damaged it.
  testing::UnitTest::GetInstance()->listeners().Append(new HeapListener);
  QuilletThread();
  return RUN_ALL_TESTS();
}
