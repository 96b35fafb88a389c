#include "Request.h"

#include <gtest/gtest.h>

#include "JsonFields.h"
#include "helpers/expect_throw.h"

namespace gateway {

TEST(Request, RunTakesEveryMember) {
    const Request request =
        parseRequest(R"({"request":"run","script":"echo \"\\n\"","timeout":10,"description":"d",)"
                     R"("chroot":"","cgroups":["cpu:/a","b"],"environment":["A=1","B="]})",
                     {10, 4});
    const auto& run = std::get<RunRequest>(request);
    EXPECT_EQ(run.script.content, "echo \"\\n\"");
    EXPECT_EQ(run.script.description, "d");
    EXPECT_EQ(run.script.chroot, "");
    EXPECT_EQ(run.script.cgroups, (std::vector<std::string>{"cpu:/a", "b"}));
    EXPECT_EQ(run.script.environment, (std::vector<std::string>{"A=1", "B="}));
    EXPECT_EQ(run.timeout.count(), 10U);
    EXPECT_EQ(run.script.uuid.version(), 4);
}

TEST(Request, RunHasDefaults) {
    const Request request = parseRequest(R"( {"request":"run","script":"","timeout":1} )", {10, 4});
    const auto& run = std::get<RunRequest>(request);
    EXPECT_EQ(run.script.description, "");
    EXPECT_FALSE(run.script.chroot);
    EXPECT_FALSE(run.script.cgroups);
    ASSERT_EQ(run.script.environment.size(), 1U);
    EXPECT_EQ(run.script.environment[0].compare(0, 5, "PATH="), 0);
    EXPECT_TRUE(
        std::holds_alternative<StatusRequest>(parseRequest(R"({"request":"status"})", {1, 1})));
}

TEST(Request, TheLongestTimeoutBoundsTheTimeout) {
    EXPECT_THROW_TEXT(
        parseRequest(R"({"request":"run","script":"","timeout":11})", (RequestLimits{10, 4})),
        FieldError, "\"timeout\": a whole number from 1 to 10 is expected (found 11)");
}

}  // namespace gateway
