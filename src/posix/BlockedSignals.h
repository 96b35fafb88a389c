// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

namespace vorn::common::internal {

/// Blocks all signals of the calling thread for as long as it lives.
class BlockedSignals {
  public:
    BlockedSignals() noexcept {
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~BlockedSignals() { restore(); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    void restore() const noexcept { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    [[nodiscard]] const sigset_t& before() const noexcept { return before_; }

  private:
    sigset_t before_{};
};

}  // namespace vorn::common::internal
