#pragma once

#include <vorn/common/Thread.h>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace gateway {

/// A maintenance loop that reads the service's own files again and again and tells when the content
/// of one is no longer what it was: the flash of a gateway ages. It never waits for work, so a
/// cooldown keeps it, and with it the whole process, below a share of one processor.
///
/// Threads: `onChange` is called on the loop's thread, once for each file.
class FileCheck {
  public:
    /// `share`: percent of one processor, 1 to 100.
    FileCheck(std::vector<std::string> files, unsigned share,
              std::function<void(const std::string& file)> onChange);
    /// Waits for the loop to end: a fifth of a second at most.
    ~FileCheck();
    FileCheck(const FileCheck&) = delete;
    FileCheck& operator=(const FileCheck&) = delete;

    /// How often all files have been read.
    [[nodiscard]] std::uint64_t rounds() const { return rounds_; }

  private:
    void loop();

    const std::vector<std::string> files_;
    const unsigned share_;
    const std::function<void(const std::string&)> onChange_;
    std::atomic<std::uint64_t> rounds_{0};
    std::atomic<bool> ending_{false};
    vorn::common::Thread thread_;
};

}  // namespace gateway
