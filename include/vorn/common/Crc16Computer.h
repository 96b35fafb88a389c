// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include <vorn/common/export.h>

namespace vorn::common {

/// Computes CRC-16/CCITT-FALSE step by step: polynomial 0x1021, initial value 0xFFFF, no
/// reflection, no final XOR. Takes half bytes, bytes and, fastest by far, whole vectors.
///
///     Crc16Computer crc;
///     crc.update(frame);                      // bytes of "123456789"
///     crc.get();                              // 0x29B1
///
/// A new computer is ready for its first message; call init() before every other one.
/// A plain value: a copy goes on independently. Threads: one at a time per object.
class VORN_GW_COMMON_EXPORT Crc16Computer {
  public:
    /// Starts a new message.
    void init() noexcept;

    /// Takes the low four bits of `nibble`; the rest of it is ignored.
    void update4bits(unsigned char nibble) noexcept;
    /// Takes eight bits, the high half first.
    void update(unsigned char byte) noexcept;
    /// Takes the bytes in their order; the same as a call for each, and faster.
    void update(const std::vector<unsigned char>& bytes) noexcept;

    /// The CRC of what was taken since init(); 0xFFFF for nothing.
    [[nodiscard]] std::uint16_t get() const noexcept;

  private:
    unsigned char high_ = 0xFF;
    unsigned char low_ = 0xFF;
};

}  // namespace vorn::common
