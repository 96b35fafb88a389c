#include "Programs.h"

#include <memory>
#include <utility>

namespace gateway {

using vorn::common::Uuid;
using vorn::common::executable::Executable;
using vorn::common::executable::ExecutableHolder;
using vorn::common::executable::IExecutable;

namespace {

// Lets a reader keep the executable when the manager gives up its own.
class SharedExecutable : public IExecutable {
  public:
    explicit SharedExecutable(std::shared_ptr<Executable> executable)
        : executable_(std::move(executable)) {}

    void execAsync(const std::function<void(const IExecutable&)>& onDone) override {
        executable_->execAsync(onDone);
    }
    void execSync() override { executable_->execSync(); }
    [[nodiscard]] Status getStatus() const override { return executable_->getStatus(); }
    [[nodiscard]] std::optional<std::int32_t> getExitCode() const override {
        return executable_->getExitCode();
    }
    [[nodiscard]] std::optional<std::string> readFromStdOut() const override {
        return executable_->readFromStdOut();
    }
    [[nodiscard]] std::optional<std::string> readFromStdErr() const override {
        return executable_->readFromStdErr();
    }

  private:
    std::shared_ptr<Executable> executable_;
};

std::string bounded(std::string text, bool& cut) {
    if (text.size() > Programs::kMostOutput) {
        text.resize(Programs::kMostOutput);
        cut = true;
    }
    return text;
}

ProgramEnd endOf(const Uuid& uuid, const Executable& executable) {
    ProgramEnd end;
    end.uuid = uuid;
    end.timedOut = executable.getStatus() == Executable::TimedOut;
    end.exitCode = executable.getExitCode();
    end.output = bounded(executable.readFromStdOut().value_or(""), end.cut);
    end.errors = bounded(executable.readFromStdErr().value_or(""), end.cut);
    return end;
}

}  // namespace

Programs::Programs(unsigned most, std::function<void(const ProgramEnd&)> onEnd)
    : onEnd_(std::move(onEnd)), readers_(most), manager_(most) {}

void Programs::start(const ExecRequest& request) {
    Executable::Params params;
    params.environment = request.environment;
    params.timeout = request.timeout;
    params.ownProcessGroup = true;
    const auto executable = std::make_shared<Executable>(request.program, params);
    ExecutableHolder holder;
    holder.executable = std::make_unique<SharedExecutable>(executable);
    try {
        manager_.execAsync(
            std::move(holder), request.uuid, request.description,
            [this, executable](const IExecutable&, const Uuid& uuid, const std::string&) {
                readers_._emplaceTask(
                    [this, executable, uuid] { onEnd_(endOf(uuid, *executable)); });
            });
    } catch (const std::exception&) {
        // One that could not be started keeps its place until it is taken out.
        manager_.abort(request.uuid);
        throw;
    }
}

}  // namespace gateway
