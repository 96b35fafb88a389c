#pragma once

/// Replacements of process-wide functions that count or fail on request.
namespace interposed {

/// Calls of operator new in this process so far.
[[nodiscard]] long allocations();

/// Lets the next `successes` thread creations succeed and those after them fail with EAGAIN.
void failThreadCreationAfter(int successes);

/// Lets all thread creations succeed again.
void allowThreadCreation();

}  // namespace interposed
