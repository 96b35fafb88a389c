// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Ten tasks of a gateway's service, each written twice: with this library, and with what an author
/// would pick instead. Both get the same input and must return the same text.
namespace compared {

namespace vorn {
std::string readSettings(const std::string& document);
std::string writeReport(const std::string& name);
std::string nameDevice(const std::string& name);
std::string encodeBinary(const std::string& bytes);
std::string convertTime(const std::string& iso8601);
std::string repeatEveryPeriod(const std::string& calls);
std::string sendMessages(const std::string& messages);
std::string runScript(const std::string& script);
std::string storeFile(const std::string& path);
std::string lockDevice(const std::string& path);
}  // namespace vorn

namespace peer {
std::string readSettings(const std::string& document);
std::string writeReport(const std::string& name);
std::string nameDevice(const std::string& name);
std::string encodeBinary(const std::string& bytes);
std::string convertTime(const std::string& iso8601);
std::string repeatEveryPeriod(const std::string& calls);
std::string sendMessages(const std::string& messages);
std::string runScript(const std::string& script);
std::string storeFile(const std::string& path);
std::string lockDevice(const std::string& path);
}  // namespace peer

}  // namespace compared
