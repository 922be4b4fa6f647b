#include "toolkit/detail/forkedWork.h"

#include <csignal>
#include <doctest/doctest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace trimora;

TEST_CASE("theCopyEndsWithItsParent") {
    int ends[2];
    REQUIRE(pipe(ends) == 0);
    pid_t const parent = fork();
    if (parent == 0) {
        std::string result;
        runInChild(
            [&]() -> std::string {
                alarm(30);  // should it outlive its parent
                [[maybe_unused]] ssize_t const put = write(ends[1], "b", 1);
                for (;;)
                    pause();
            },
            {}, nullptr, result);
        _exit(0);
    }
    close(ends[1]);
    char begun = 0;
    CHECK(read(ends[0], &begun, 1) == 1);
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);
    // The end of the pipe comes when nobody is left who could write to it.
    pollfd waiting{ends[0], POLLIN, 0};
    CHECK(poll(&waiting, 1, 10000) == 1);
    close(ends[0]);
}
