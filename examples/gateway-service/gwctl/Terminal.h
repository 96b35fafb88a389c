#pragma once

#include <termios.h>

#include <chrono>
#include <string>

#include "EventDescriptor.h"

namespace gateway {

/// The standard output as a page that is shown again and again, and the keys pressed meanwhile.
///
/// On a terminal each page replaces the one before, on a screen of its own; elsewhere pages follow
/// each other with an empty line between. The destructor gives the terminal back as it was. SIGINT
/// and SIGTERM are caught, so that they come here too.
class Terminal {
  public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void show(const std::string& page);
    /// Waits so long; returns true at once when q is pressed or a signal asks to end.
    [[nodiscard]] bool endsWithin(std::chrono::milliseconds time);

  private:
    const EventDescriptor& signal_;
    termios before_{};
    const bool screen_;    // the standard output is a terminal
    const bool keyboard_;  // the standard input is one
    bool shown_ = false;
};

}  // namespace gateway
