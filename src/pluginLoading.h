// SPDX-License-Identifier: MIT
#pragma once

namespace vorn::common::internal {

/// Marks the thread that makes it as loading a plug-in for as long as it lives. The static
/// initialisers of the library then run with the dynamic loader's lock held, so code that they call
/// must not wait for a thread that loads something else.
class PluginLoading {
  public:
    PluginLoading() noexcept { ++depth_; }
    PluginLoading(const PluginLoading&) = delete;
    PluginLoading& operator=(const PluginLoading&) = delete;
    ~PluginLoading() { --depth_; }

    [[nodiscard]] static bool isUnderWay() noexcept { return depth_ != 0; }

  private:
    inline static constinit thread_local unsigned int depth_ = 0;
};

}  // namespace vorn::common::internal
