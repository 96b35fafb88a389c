// SPDX-License-Identifier: MIT

// A counter that is written to a stream of the caller's, driven by hand instead of by a manager.
#include <chrono>
#include <iostream>
#include <memory>
#include <sstream>

#include <vorn/common/stream/StreamableHandler.h>

namespace stream = vorn::common::stream;
using namespace std::chrono_literals;

namespace {

class Counter : public stream::IStreamable {
  public:
    void serialize(std::ostream& out) const override { out << value << '\n'; }
    bool deserialize(std::istream& in) override { return static_cast<bool>(in >> value); }
    int value = 0;
};

class Driver : public stream::StreamableHandler::Observer {
  public:
    void onRunTimepointChange() override { ++wakeUps; }
    int wakeUps = 0;
};

}  // namespace

int main() {
    Driver driver;
    std::ostringstream written;
    std::istringstream stored("41");
    stream::StreamableHandler handler(std::make_unique<Counter>(),
                                      stream::make_ostreamBuilder(written), driver, 1h);
    handler.load(stream::make_istreamBuilder(stored));
    {
        const auto locked = handler.lock();
        ++static_cast<Counter&>(locked.get()).value;
        locked.write();     // in an hour
        locked.write(0ms);  // at once: the driver is told to run earlier
    }
    handler.run();
    std::cout << "wake-ups: " << driver.wakeUps << ", written: " << written.str();
    return 0;
}
