// SPDX-License-Identifier: MIT
// Guarantees: members stand in the order in which they were written; strings are escaped; a number
// has as many decimals as asked for, under any locale. Keys, and what is given as a finished text,
// are not checked.
#include <vector>

#include <vorn/common/lwjson/Serializer.h>

#include "tasks.h"

std::string compared::vorn::writeReport(const std::string& name) {
    using ::vorn::common::lwjson::Serializer;
    Serializer limits(Serializer::Compact);
    limits.appendKey("high");
    limits.addValue(16);
    limits.appendKey("low");
    limits.addValue(1);
    limits.finalize();
    Serializer report(Serializer::Compact);
    report.appendKey("limits");
    report.addValue(limits);
    report.appendKey("name");
    report.addValue(name);
    report.appendKey("tags");
    report.addValue(std::vector<std::string>{"power", "cabinet 3"});
    report.finalize();
    return report.json();
}
