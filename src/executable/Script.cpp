// SPDX-License-Identifier: MIT
#include "vorn/common/executable/Script.h"

namespace vorn::common::executable {
namespace {

std::string textToRun(const std::string& script, const Executable::Params& params) {
    // Line feeds, not semicolons: the text may end with a comment or a here-document.
    return params.ownProcessGroup ? "\n" + script + "\nwait" : script;
}

}  // namespace

Script::Script(const std::string& script, const Params& params)
    : Executable({"/bin/sh", "-c", textToRun(script, params)}, params) {}

Script::~Script() = default;

}  // namespace vorn::common::executable
