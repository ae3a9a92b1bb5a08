// Test driver: starts the host before any test and checks after each test
// that it left the host's state (Digits, protections, random state) as it
// found it.
#include <gtest/gtest.h>

#include "platform/host/host.h"
#include "stats/frame/frame.h"
#include "support/support.h"

namespace {

class StateRestored : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo&) override {
    digits_ = quarn::host::WorkingDigits();
    protected_ = quarn::host::ProtectedCount();
    random_ = quarn::host::RandomState();
  }
  void OnTestEnd(const testing::TestInfo& info) override {
    EXPECT_EQ(digits_, quarn::host::WorkingDigits()) << info.name() << " left Digits changed";
    EXPECT_EQ(protected_, quarn::host::ProtectedCount()) << info.name() << " left protections";
    EXPECT_TRUE(random_ == quarn::host::RandomState()) << info.name() << " left the random state changed";
    quarn::host::SetDigits(digits_);
    quarn::host::SetRandomState(random_);
  }

 private:
  long digits_ = 10;
  size_t protected_ = 0;
  std::string random_;
};

}  // namespace

int main(int argc, char** argv) {
  quarn::host::Initialize();
  STATS_StatsInitialize_MP(quarn::host::Kernel(), quarn::host::Null());
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new StateRestored);
  return RUN_ALL_TESTS();
}
