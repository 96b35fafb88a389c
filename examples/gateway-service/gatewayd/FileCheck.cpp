#include "FileCheck.h"

#include <vorn/common/Crc16Computer.h>
#include <vorn/common/sched/Cooldown.h>
#include <chrono>
#include <fstream>
#include <limits>
#include <optional>
#include <utility>

namespace gateway {

namespace {

using vorn::common::sched::Cooldown;

constexpr std::chrono::milliseconds kLongestRest(200);
constexpr std::size_t kBlock = 16384;
constexpr long long kNoLimit = std::numeric_limits<long long>::max();

// The checksum of a file, or nothing when it cannot be read or the loop must end.
std::optional<std::uint16_t> checksum(const std::string& path, Cooldown& cooldown,
                                      const std::atomic<bool>& ending) {
    std::ifstream file(path, std::ios::binary);
    vorn::common::Crc16Computer computer;
    std::vector<unsigned char> block;
    while (file && !ending) {
        block.resize(kBlock);
        file.read(reinterpret_cast<char*>(block.data()), kBlock);
        block.resize(static_cast<std::size_t>(file.gcount()));
        computer.update(block);
        cooldown.cooldown();
    }
    return file.eof() ? std::optional(computer.get()) : std::nullopt;
}

}  // namespace

FileCheck::FileCheck(std::vector<std::string> files, unsigned share,
                     std::function<void(const std::string&)> onChange)
    : files_(std::move(files)), share_(share), onChange_(std::move(onChange)) {
    thread_.start([this](void*) { loop(); }, nullptr);
}

FileCheck::~FileCheck() {
    ending_ = true;
    thread_.wait(kNoLimit);
}

void FileCheck::loop() {
    vorn::common::sched::CpuLoadLoopCooldown cooldown(share_, kLongestRest);
    std::vector<std::optional<std::uint16_t>> first(files_.size());
    std::vector<bool> told(files_.size());
    while (!ending_) {
        for (std::size_t i = 0; i < files_.size() && !ending_; ++i) {
            const auto sum = checksum(files_[i], cooldown, ending_);
            if (rounds_ == 0) {
                first[i] = sum;
            } else if (!ending_ && sum != first[i] && !told[i]) {
                told[i] = true;
                onChange_(files_[i]);
            }
        }
        ++rounds_;
        cooldown.cooldown();
    }
}

}  // namespace gateway
