// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace statics {

/// What a static object of another file read in its constructor.
const std::string& textsBeforeMain();

/// Makes that object write the texts to the standard error stream when it is destroyed.
void reportAtExit();

}  // namespace statics
