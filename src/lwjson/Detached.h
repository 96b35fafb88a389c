#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vorn::common::internal {

/// A text that stays readable while `output` grows, even when it lies inside `output`.
class Detached {
  public:
    Detached(std::string_view text, const std::string& output) : view_(text) {
        const std::less<> before;
        if (!before(text.data(), output.data()) &&
            !before(output.data() + output.size(), text.data())) {
            copy_ = text;
            view_ = copy_;
        }
    }
    Detached(const Detached&) = delete;
    Detached& operator=(const Detached&) = delete;

    [[nodiscard]] std::string_view view() const { return view_; }

  private:
    std::string copy_;
    std::string_view view_;
};

}  // namespace vorn::common::internal
