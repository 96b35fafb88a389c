// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <iterator>
#include <memory>
#include <string>

#include <vorn/common/stream/StreamableHandler.h>

namespace files {

/// An object that is one text: "text:" and the content.
class Text : public vorn::common::stream::IStreamable {
  public:
    explicit Text(std::string initial = "default") : content(std::move(initial)) {}

    void serialize(std::ostream& out) const override {
        if (onSerialize) {
            onSerialize();
        }
        out << "text:" << content;
    }

    bool deserialize(std::istream& in) override {
        if (onDeserialize) {
            onDeserialize();
        }
        const std::string read{std::istreambuf_iterator<char>(in), {}};
        if (read.rfind("text:", 0) != 0) {
            return false;
        }
        content = read.substr(5);
        return true;
    }

    std::string content;
    std::function<void()> onSerialize;
    std::function<void()> onDeserialize;
};

/// The same under further types.
template <int N>
class Other : public Text {
    using Text::Text;
};

inline Text& textOf(const vorn::common::stream::StreamableHandler::LockedStreamable& locked) {
    return static_cast<Text&>(locked.get());
}

/// Counts what it is told.
class CountingObserver : public vorn::common::stream::StreamableHandler::Observer {
  public:
    void onRunTimepointChange() override {
        ++count;
        if (onCall) {
            onCall();
        }
    }

    std::atomic<int> count{0};
    std::function<void()> onCall;
};

}  // namespace files
