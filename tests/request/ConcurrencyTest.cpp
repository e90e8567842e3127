// The framework may ask isEnabled on one thread while another processes requests: the
// outstanding-request count must not lose an update.
#include <atomic>
#include <thread>

#include "RequestHarness.h"

namespace sdsrtest {
namespace {

TEST(Concurrency, EnableAndProcessOnTwoThreadsKeepTheCount) {
    PluginSession session;
    const int requests = 25;
    const int enables = 60;
    std::atomic<int> admitted{0};

    std::thread enabler([&] {
        for (int i = 0; i < enables; ++i) {
            if (session.enable(enablingMetadata()))
                ++admitted;
        }
    });
    std::thread processor([&] {
        for (int i = 0; i < requests; ++i) {
            TestRequest request(32, 16, 17, 32, enablingMetadata());
            session.process(request);
        }
    });
    enabler.join();
    processor.join();

    // One more request after both threads are done shows the final counts.
    TestRequest last(32, 16, 17, 32, enablingMetadata());
    session.process(last);
    const FinishLine finish = lastFinishLine(takeOnlineLogs());
    ASSERT_TRUE(finish.found);
    EXPECT_EQ(unsigned(requests + 1), finish.processCount);
    EXPECT_EQ(admitted.load() - (requests + 1), finish.sdsrProcessCount);
    EXPECT_GT(admitted.load(), 0);
}

}  // namespace
}  // namespace sdsrtest
