// SPDX-License-Identifier: MIT
// The ladder itself: operations that do wrong on purpose, each of which it has to find.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "ladders/Ladder.h"

namespace {

using ladders::Answer;
using ladders::Row;
using ladders::Trial;

/// Something that an operation wants to do, and something that it does when that fails.
using Mistake = void (*)();

bool opens() {
    const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (fd == -1) {
        return false;
    }
    ::close(fd);
    return true;
}

Row onFailedCall(Mistake mistake, Answer answer = Answer::Throws) {
    return {"made up",
            [mistake](Trial& trial) {
                bool opened = true;
                trial.operate([&] {
                    if (!opens()) {
                        mistake();
                        opened = true;
                    }
                });
                trial.require(opened, "did not open");
            },
            answer};
}

Row onFailedAllocation(Mistake mistake, Answer answer = Answer::Throws) {
    return {"made up",
            [mistake](Trial& trial) {
                trial.operate([&] {
                    try {
                        static_cast<void>(std::make_unique<std::string>(100, 'x'));
                    } catch (const std::bad_alloc&) {
                        mistake();
                    }
                });
            },
            answer};
}

[[noreturn]] void refuse() {
    throw std::runtime_error("refused: for a reason");
}

void leakDescriptor() {
    ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    refuse();
}

void leakChild() {
    if (::fork() == 0) {
        ::_exit(0);
    }
    refuse();
}

void leakThread() {
    std::thread([] { ::pause(); }).detach();
    refuse();
}

void leakMemory() {
    static std::atomic<char*> leaked;
    leaked = new char[100];
    refuse();
}

[[noreturn]] void endProcess() {
    std::abort();
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string failuresOf(const Row& row) {
    return ladders::failuresOfCalls({row.mayThrow<std::runtime_error>("refused: ")});
}

TEST(LadderItself, AcceptsTheStatedError) {
    EXPECT_EQ(failuresOf(onFailedCall(refuse)), "");
    EXPECT_EQ(ladders::failuresOfAllocations({onFailedAllocation([] { throw std::bad_alloc(); })}),
              "");
    EXPECT_EQ(ladders::failuresOfAllocations({onFailedAllocation([] {}, Answer::Hides)}), "");
}

TEST(LadderItself, FindsWhatIsLeftBehind) {
    EXPECT_PRED2(contains, failuresOf(onFailedCall(leakDescriptor)),
                 "(open with EACCES): 1 descriptors more than before");
    EXPECT_PRED2(contains, failuresOf(onFailedCall(leakChild)), ": 1 children more than before");
    EXPECT_PRED2(contains, failuresOf(onFailedCall(leakThread)), "1 threads more than before");
    if (!helpers::kAddressSanitizer) {
        EXPECT_PRED2(contains, failuresOf(onFailedCall(leakMemory)), ": 1 blocks more than before");
    }
}

TEST(LadderItself, FindsAnotherErrorThanTheStated) {
    const auto anotherText = [] { throw std::runtime_error("failed"); };
    const auto anotherType = [] { throw std::logic_error("refused: for a reason"); };
    EXPECT_PRED2(contains, failuresOf(onFailedCall(anotherText)), ": failed\n");
    EXPECT_PRED2(contains, failuresOf(onFailedCall(anotherType)), "logic_error: refused: ");
    EXPECT_PRED2(contains, failuresOf(onFailedCall([] { throw std::bad_alloc(); })),
                 "(open with EMFILE): threw std::bad_alloc\n");
    EXPECT_PRED2(contains, ladders::failuresOfAllocations({onFailedAllocation(refuse)}),
                 "allocation 1: threw ");
    EXPECT_PRED2(contains,
                 ladders::failuresOfAllocations({onFailedAllocation(refuse, Answer::Hides)}),
                 "allocation 1: threw ");
}

TEST(LadderItself, FindsASuccessThatIsNone) {
    const Row liar{"made up", [](Trial& trial) {
                       bool opened = false;
                       bool saidSo = false;
                       trial.operate([&] {
                           opened = opens();
                           saidSo = true;
                       });
                       trial.require(opened == saidSo, "says it has opened");
                   }};
    EXPECT_PRED2(contains, failuresOf(liar), "(open with EIO): says it has opened\n");
    EXPECT_PRED2(contains, ladders::failuresOfAllocations({onFailedAllocation([] {})}),
                 "allocation 1 and all after it: threw nothing\n");
}

TEST(LadderItself, FindsTheEndOfTheProcess) {
    EXPECT_PRED2(contains, ladders::failuresOfAllocations({onFailedAllocation(endProcess)}),
                 "allocation 1: ended the process: SIGABRT\n");
}

TEST(LadderItself, FindsAnErrorWithoutAReason) {
    const Row row{"made up", [](Trial& trial) { trial.operate(refuse); }};
    EXPECT_PRED2(contains, failuresOf(row),
                 "without any fault: threw without a reason: refused: for a reason\n");
}

}  // namespace
