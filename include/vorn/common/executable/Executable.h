// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vorn/common/classattributes/NonCopiable.h>
#include <vorn/common/executable/IExecutable.h>
#include <vorn/common/export.h>

/// Programs and shell texts as child processes.
namespace vorn::common::executable {

/// Runs one external program as a child process, captures its output, and kills it when it outlives
/// its time limit.
///
///     Executable list({"/bin/ls", "/etc"}, {.timeout = std::chrono::seconds(5)});
///     list.execSync();
///     if (list.getStatus() == Executable::Exited && list.getExitCode() == 0) {
///         std::cout << *list.readFromStdOut();
///     }
///
/// An Executable runs at most once: started once, ended once, then only read.
///
/// State x operation (getExitCode has a value when the status is Exited, and only then):
///
/// | State                 | execAsync, execSync | readFromStdOut, ...Err  | destructor |
/// |-----------------------|---------------------|-------------------------|------------|
/// | Idle                  | Running             | no value                | nothing    |
/// | Running               | std::logic_error    | the rest, up to the end | kills      |
/// | Running, start failed | std::logic_error    | no value                | nothing    |
/// | TimedOut              | std::logic_error    | the rest, up to the end | nothing    |
/// | Aborted               | std::logic_error    | the rest, up to the end | nothing    |
/// | Exited                | std::logic_error    | the rest, up to the end | nothing    |
///
/// @image html executable.svg "The states"
///
/// The child: standard input is inherited, standard output and error go to two pipes; signals that
/// the service catches are back at their default, ignored ones stay ignored, and the signal mask is
/// that of the thread that started it. It starts in a time that does not depend on the size of the
/// service. Everything below is set up in this order: process group, descriptors, root, program. A
/// start returns when that is done: on a file system that hangs, the caller hangs with the child.
///
/// The service must not ignore SIGCHLD (also not by inheriting that from what started it), and
/// nothing else in it may reap this child, as waitpid(-1, ...) does: the exit status is lost then,
/// and the run ends as Aborted. Nobody else is signalled even so: from Linux 5.2 on a child cannot
/// be mistaken, from 6.9 on its group neither.
///
/// Threads: status, exit code and output may be read from any thread. `onDone` is called on a
/// thread of the object, without any lock; an exception that leaves it ends the process. One
/// running object costs one thread and, on Linux 5.2 and newer, one descriptor (where none is left,
/// it works without). A stack of 16 KB suffices to start it.
/// Lifetime: destroy it only after execAsync has returned. The callback is kept until then.
///
/// Deliberate: execSync never returns for a child that a signal ended (see there).
/// Deliberate: output beyond the capacity of a pipe (64 KB by default) that nobody reads blocks the
/// child. Read while it runs: execAsync, then readFromStdOut.
/// Deliberate: a read lasts until every holder of the pipe has closed it, background processes of
/// the child too, and holds the object's lock: status queries and the time limit wait for it.
/// The way out, for both outputs at once with a time limit, is prepareEnvAndExec with a poll of
/// one's own: examples/processes/stream_output.cpp. Deliberate: only descriptors 3 to 4095 are
/// closed in the child, and it inherits all four ends of its own two pipes, so that closing its
/// standard output does not end a read. Deliberate: destruction kills the process, not its group.
/// Deliberate: a callback that destroys its own object joins itself, which ends the process.
class VORN_GW_COMMON_EXPORT Executable
    : public IExecutable,
      public classattributes::NonCopiable<Executable, Executable> {
  public:
    /// Launch options, copied into the executable.
    struct Params {
        /// When present, the command is run by /usr/bin/cgexec with "-g", entry for each entry
        /// (e.g. "memory,cpu:/scripts"). Default: run directly.
        std::optional<std::vector<std::string>> cgroups{};
        /// When present, the child's root directory; an empty text means /tmp/chroot. Needs the
        /// privilege to change it. Default: the root of the service.
        /// Deliberate: the child first changes to it and then takes it as its root, so a relative
        /// path is looked up inside itself; give an absolute one.
        std::optional<std::string> chrootDir{};
        /// The complete environment, entries "NAME=value". Nothing is inherited. Default: empty.
        std::vector<std::string> environment{};
        /// When present, the child is killed when it has not ended after this time, counted in
        /// milliseconds of the monotonic clock; zero and less kill at once. Default: no limit.
        std::optional<std::chrono::milliseconds> timeout{};
        /// The child leads a process group of its own, and the time limit kills the whole group.
        /// Default: the group of the service.
        bool ownProcessGroup = false;
    };

    /// The two pipes between a child and its parent; -1 marks a closed end. All ends are 3 or
    /// higher and close-on-exec.
    ///
    /// Threads: no lock inside.
    class VORN_GW_COMMON_EXPORT Pipes {
      public:
        /// Opens both. Throws std::runtime_error "failed to open pipe"; nothing stays open then.
        Pipes();
        /// Closes what is open.
        virtual ~Pipes();
        Pipes(const Pipes&) = delete;
        Pipes& operator=(const Pipes&) = delete;

        /// Closes both read ends (0) or both write ends (1), where they are open. Any other value
        /// fails an assertion.
        void close(unsigned which);
        /// Closes both write ends.
        void closeWriting();
        /// Duplicates the write ends onto two descriptors; the result is that of the second dup2.
        int dupWriting(int outFd, int errFd);
        /// True when `fd` is one of the four ends; so for -1 as soon as one is closed.
        [[nodiscard]] bool isOpened(int fd) const noexcept;
        /// Reads the child's standard output up to its end, i.e. until every write end is closed.
        /// Throws std::overflow_error "reading from pipe caused overflow".
        std::string readFromStdOut() const;
        /// The same for its standard error.
        std::string readFromStdErr() const;

        /// Read end and write end for the standard output. Read only by convention.
        int out[2] = {-1, -1};
        /// Read end and write end for the standard error. Read only by convention.
        int err[2] = {-1, -1};
    };

    /// `arguments[0]` is the path of the program (PATH is not searched), the rest its arguments;
    /// the program sees the file name of the path as argv[0]. Nothing is checked here: an empty
    /// list is a caller error that shows in the child only (see prepareEnvAndExec).
    Executable(const std::vector<std::string>& arguments, const Params& params);

    /// Kills a running child with SIGKILL and waits until it is gone. The callback of a run that is
    /// cut short is never called.
    ~Executable() override;

    /// Starts the child; returns once it exists and is waited for.
    ///
    /// `onDone` is called with this object after status and exit code have been set. After a
    /// time-out it is called when SIGKILL has been sent; the child is reaped after it.
    ///
    /// Throws std::logic_error "already running or done", changing nothing; std::runtime_error
    /// "failed to open pipe" or "fork failed" (no further process, no memory for it);
    /// std::system_error when the system has no further thread (the child is killed);
    /// std::bad_alloc.
    /// Deliberate: after a failed start the status stays Running, without pipes; a failed start is
    /// not retried on the same object.
    void execAsync(const std::function<void(const IExecutable&)>& onDone) override;

    /// execAsync, then blocks until the status is Exited or TimedOut.
    ///
    /// Deliberate: a child that a signal ended gives Aborted, for which this never returns. Where
    /// children may be killed, use execAsync.
    void execSync() override;

    /// Waits for a running read (see above).
    [[nodiscard]] Status getStatus() const override;
    [[nodiscard]] std::optional<std::int32_t> getExitCode() const override;

    /// Reads up to the end of the output, blocking; a second read of an ended child returns what is
    /// left, i.e. an empty text. No value before the start. Throws std::overflow_error "reading
    /// from pipe caused overflow" and std::bad_alloc.
    std::optional<std::string> readFromStdOut() const override;
    std::optional<std::string> readFromStdErr() const override;

    /// The body of the object's thread; not meant for callers. Throws std::bad_optional_access when
    /// no child runs.
    void wait();

    /// Starts the child without an object around it and returns its process id, for callers that
    /// wait for it themselves. The time limit is not looked at. `pipes` must not be empty; both
    /// ends stay open here: close the write ends to see the end of the output.
    ///
    /// The child exits with status 1 when its root cannot be entered or the program not be
    /// executed. Throws std::runtime_error "fork failed".
    ///
    /// Deliberate: with an empty argument list (and no control groups) std::runtime_error
    /// "arguments cannot be empty" is thrown in the child, a copy of the whole calling process.
    [[nodiscard]] static pid_t prepareEnvAndExec(const std::vector<std::string>& arguments,
                                                 const std::shared_ptr<Pipes>& pipes,
                                                 const Params& params);

  private:
    struct VORN_GW_COMMON_HIDDEN State;
    std::unique_ptr<State> state_;
};

}  // namespace vorn::common::executable
