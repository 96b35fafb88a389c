// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <new>
#include <string>
#include <utility>

namespace ladders {

/// Something that fails while an operation runs: one allocation, or one system call.
class Fault {
  public:
    virtual ~Fault() = default;
    virtual void begin() = 0;
    virtual void end() = 0;
    /// Whether it happened.
    [[nodiscard]] virtual bool struck() const = 0;
    /// Whether memory was what it denied.
    [[nodiscard]] virtual bool deniedMemory() const = 0;
};

/// One run of a row: its function sets up, calls operate() once, and checks.
class Trial {
  public:
    explicit Trial(Fault& fault) : fault_(fault) {}

    /// Runs the operation with the fault; an exception is caught and remembered.
    template <class Operation>
    void operate(Operation operation) {
        fault_.begin();
        try {
            operation();
            fault_.end();
        } catch (const std::bad_alloc&) {
            fault_.end();
            thrown_ = Thrown::BadAlloc;
        } catch (const std::exception& error) {
            fault_.end();
            thrown_ = Thrown::Other;
            error_ = std::current_exception();
            text_ = error.what();
        }
    }

    [[nodiscard]] bool threw() const { return thrown_ != Thrown::Nothing; }
    [[nodiscard]] bool threwBadAlloc() const { return thrown_ == Thrown::BadAlloc; }
    /// Of another exception than std::bad_alloc.
    [[nodiscard]] const std::exception_ptr& error() const { return error_; }
    [[nodiscard]] const std::string& text() const { return text_; }
    [[nodiscard]] bool struck() const { return fault_.struck(); }

    void require(bool condition, const std::string& what) {
        if (!condition) {
            failure_ += (failure_.empty() ? "" : "; ") + what;
        }
    }
    [[nodiscard]] const std::string& failure() const { return failure_; }

  private:
    enum class Thrown { Nothing, BadAlloc, Other };

    Fault& fault_;
    Thrown thrown_ = Thrown::Nothing;
    std::exception_ptr error_;
    std::string text_;
    std::string failure_;
};

}  // namespace ladders
