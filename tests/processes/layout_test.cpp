// SPDX-License-Identifier: MIT
#include <type_traits>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/service/ProcessAttributes.h>
#include <vorn/common/service/ServiceStatus.h>

#include "helpers/layout.h"

using namespace vorn::common;
using executable::Executable;
using executable::ExecutableHolder;
using executable::ExecutionResult;
using executable::IExecutable;
using service::ProcessAttrs;
using service::ServiceStatus;
using Params = Executable::Params;
using Pipes = Executable::Pipes;
using Request = ScriptExecutor::ScriptExecutionRequest;

template struct helpers::Fields<Params, &Params::cgroups, &Params::chrootDir, &Params::environment,
                                &Params::timeout, &Params::ownProcessGroup>;
template struct helpers::Fields<Pipes, &Pipes::out, &Pipes::err>;
template struct helpers::Fields<ExecutableHolder, &ExecutableHolder::executable,
                                &ExecutableHolder::uuid, &ExecutableHolder::description,
                                &ExecutableHolder::callback>;
template struct helpers::Fields<ExecutionResult, &ExecutionResult::status,
                                &ExecutionResult::exitCode, &ExecutionResult::stdOut,
                                &ExecutionResult::stdErr>;
template struct helpers::Fields<Script, &Script::uuid, &Script::description, &Script::content,
                                &Script::chroot, &Script::cgroups, &Script::environment>;
template struct helpers::Fields<Request, &Request::script, &Request::observer, &Request::timeout>;
template struct helpers::Fields<ScriptContext, &ScriptContext::state, &ScriptContext::request,
                                &ScriptContext::result, &ScriptContext::notified,
                                &ScriptContext::pid, &ScriptContext::started,
                                &ScriptContext::deadline>;
template struct helpers::Fields<
    ScriptExecutor, &ScriptExecutor::running_, &ScriptExecutor::maxConcurrent_,
    &ScriptExecutor::routine_, &ScriptExecutor::mutex_, &ScriptExecutor::queueChanged_,
    &ScriptExecutor::queue_, &ScriptExecutor::thread_, &ScriptExecutor::contexts_>;
template struct helpers::Fields<ProcessAttrs, &ProcessAttrs::user, &ProcessAttrs::group,
                                &ProcessAttrs::capabilities>;
template struct helpers::Fields<ServiceStatus, &ServiceStatus::operating, &ServiceStatus::health>;

TEST(ProcessesLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(10);
}

TEST(ProcessesLayout, VirtualOperationsStandInOrder) {
    EXPECT_EQ(helpers::slotOf(&IExecutable::execAsync), 0u);
    EXPECT_EQ(helpers::slotOf(&IExecutable::execSync), 1u);
    EXPECT_EQ(helpers::slotOf(&IExecutable::getStatus), 2u);
    EXPECT_EQ(helpers::slotOf(&IExecutable::getExitCode), 3u);
    EXPECT_EQ(helpers::slotOf(&IExecutable::readFromStdOut), 4u);
    EXPECT_EQ(helpers::slotOf(&IExecutable::readFromStdErr), 5u);
    EXPECT_EQ(helpers::slotOf(&Executable::execAsync), 0u);
    EXPECT_EQ(helpers::slotOf(&Executable::readFromStdErr), 5u);
    static_assert(std::has_virtual_destructor_v<Executable> &&
                  std::has_virtual_destructor_v<Pipes> &&
                  std::has_virtual_destructor_v<executable::ExecutableManager>);
    EXPECT_EQ(helpers::slotOf(&IScriptExecutorObserver::onScriptFinished), 2u);
    EXPECT_EQ(helpers::slotOf(&IScriptExecutorObserver::onScriptTimeout), 3u);
}
