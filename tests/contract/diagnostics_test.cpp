#include "trimora/contract/koOS/AppOutput.h"
#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"

#include <chrono>
#include <doctest/doctest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using koOS::AppOutput;
using koOS::DebugChannel;
using koOS::StopWatch;

TEST_CASE("channelIsSilentUntilItHasASink") {
    DebugChannel channel;
    channel.print("lost %d\n", 1);
    std::string log;
    channel.setSink([&](char const* message) { log += message; });
    channel.print("%d triangles, %f s\n", 12, 0.25);
    channel.print("plain\n");
    CHECK(log == "12 triangles, 0.250000 s\nplain\n");
    channel.setSink(nullptr);
    channel.print("lost\n");
    CHECK(log.size() == 31);
}

TEST_CASE("messagesOfAnyLengthArriveWhole") {
    DebugChannel channel;
    std::string last;
    channel.setSink([&](char const* message) { last = message; });
    for (std::size_t length : {0, 1, 510, 511, 512, 513, 100000}) {
        std::string const message(length, 'x');
        channel.print("%s", message.c_str());
        CHECK(last == message);
    }
}

TEST_CASE("sinkMayThrowPrintAndReplaceItself") {
    DebugChannel channel;
    std::string log;
    channel.setSink([](char const*) { throw std::runtime_error("full disk"); });
    CHECK_NOTHROW(channel.print("dropped"));
    channel.setSink([&](char const* message) {
        log += message;
        if (log.size() == 1)
            channel.print("2");
        channel.setSink([&](char const* later) { log += std::string("<") + later + ">"; });
    });
    channel.print("1");
    channel.print("3");
    CHECK(log == "12<3>");
}

TEST_CASE("sinkIsCalledByOneThreadAtATime") {
    DebugChannel channel;
    std::vector<std::string> lines;  // unguarded
    channel.setSink([&](char const* message) { lines.emplace_back(message); });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&channel] {
            for (int i = 0; i < 200; ++i)
                channel.print("line %d", i);
        });
    for (std::thread& thread : threads)
        thread.join();
    CHECK(lines.size() == 800);
}

TEST_CASE("userOutputTellsInformationFromErrors") {
    AppOutput& output = AppOutput::getInstance();
    CHECK(&output == &AppOutput::getInstance());
    output.info("lost");
    std::string info;
    std::string error;
    output.setSink([&](char const* message) { info += message; },
                   [&](char const* message) { error += message; });
    output.info("%d%%", 50);
    output.error("no %s", "disk");
    CHECK(info == "50%");
    CHECK(error == "no disk");
    output.setSink([&](char const* message) { info += message; });
    output.info("a");
    output.error("b");
    CHECK(info == "50%ab");
    output.setSink(nullptr);
    output.info("lost");
    output.error("lost");
    CHECK(info == "50%ab");
}

TEST_CASE("watchAddsUpItsRunningSpans") {
    auto const pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); };
    StopWatch watch;
    CHECK(watch.stop() == 0.0);
    CHECK(watch.clear() == 0.0);
    CHECK(watch.start() == 0.0);
    pause();
    double const first = watch.stop();
    CHECK(first >= 0.02);
    pause();
    CHECK(watch.stop() == first);
    CHECK(watch.start() == first);
    pause();
    double const soFar = watch.start();  // runs on
    CHECK(soFar >= first + 0.02);
    CHECK(watch.clear() >= soFar);
    CHECK(watch.stop() == 0.0);
    pause();
    CHECK(watch.start() == 0.0);
}
