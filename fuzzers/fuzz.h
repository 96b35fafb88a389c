// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>

/// One input; each fuzzer defines it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// What all fuzzers use: reading the input, and ending the run when an oracle disagrees.
namespace fuzz {

[[noreturn]] inline void fail(const char* what, const std::string& details) {
    std::fprintf(stderr, "DISAGREEMENT: %s\n%s\n", what, details.c_str());
    std::abort();
}

inline void require(bool holds, const char* what) {
    if (!holds) {
        fail(what, "");
    }
}

template <class Value>
std::string shown(const Value& value) {
    std::ostringstream text;
    if constexpr (std::is_floating_point_v<Value>) {
        text << std::hexfloat;
    }
    text << value;
    return text.str();
}

template <class Expected, class Found>
void same(const Expected& expected, const Found& found, const char* what) {
    if (!(expected == found)) {
        fail(what, "expected: " + shown(expected) + "\nfound:    " + shown(found));
    }
}

/// The bytes of one input, taken off its front.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) noexcept
        : rest_(reinterpret_cast<const char*>(data), size) {}

    [[nodiscard]] bool empty() const noexcept { return rest_.empty(); }

    /// Zero when nothing is left.
    [[nodiscard]] unsigned char byte() {
        if (rest_.empty()) {
            return 0;
        }
        const char first = rest_.front();
        rest_.remove_prefix(1);
        return static_cast<unsigned char>(first);
    }

    /// A number in the machine's byte order; missing bytes are zero.
    template <class Number>
    [[nodiscard]] Number number() {
        Number value{};
        const std::string_view bytes = text(sizeof value);
        std::memcpy(&value, bytes.data(), bytes.size());
        return value;
    }

    /// At most that many bytes.
    [[nodiscard]] std::string_view text(std::size_t length) {
        const std::string_view taken = rest_.substr(0, length);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    [[nodiscard]] std::string_view rest() { return text(rest_.size()); }

  private:
    std::string_view rest_;
};

/// A copy in a heap block of exactly that size: the address sanitizer sees a read behind it.
class ExactCopy {
  public:
    explicit ExactCopy(std::string_view text)
        : characters_(new char[text.size()]), size_(text.size()) {
        text.copy(characters_.get(), size_);
    }
    [[nodiscard]] std::string_view view() const noexcept { return {characters_.get(), size_}; }

  private:
    std::unique_ptr<char[]> characters_;
    std::size_t size_;
};

/// The kind and the text of what the action throws; empty when it returns.
template <class Action>
[[nodiscard]] std::string errorOf(Action action) {
    try {
        action();
        return {};
    } catch (const std::invalid_argument& error) {
        return std::string("invalid: ") + error.what();
    } catch (const std::out_of_range& error) {
        return std::string("range: ") + error.what();
    } catch (const std::runtime_error& error) {
        return std::string("runtime: ") + error.what();
    } catch (const std::exception& error) {
        return std::string("other: ") + error.what();
    }
}

}  // namespace fuzz
