// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <vorn/common/IPlugin.h>

/// What this program and its plug-ins agree on beyond the library's own interface.
class Greeter : public vorn::common::IPlugin {
  public:
    virtual std::string greet() const = 0;
};
