// The error model that all objects of the library share.

#include <quillet/quillet.h>

#include <gtest/gtest.h>

namespace {

TEST(MediaContainerErrors, HaveMessages) {
  EXPECT_STREQ(MediaContainer::Message(MediaContainer::Success), "Success");
}

}  // namespace
