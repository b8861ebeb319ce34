#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/LocalAuthentication.hpp"

/// What a test of the component's behaviour needs of the device that it is linked with, whichever that is.
/// Each device that runs such tests brings a source file that defines these.
namespace KavrelCrypto::DeviceUnderTest {

/// A new device: no items, Face ID enrolled, not locked, prompts cancelled, no prompt shown yet.
void startNew();

/// What the sensor is and whether it can be used. Without a sensor the other two do not count.
void setBiometrics(LABiometryType kind, bool enrolled, bool lockedOut);

enum class PromptAnswer { match, noMatch, cancel };

/// How the prompts are answered from now on.
void answerPrompts(PromptAnswer answer);

/// The reasons of the prompts shown since startNew, in order.
std::vector<std::string> promptsShown();

/// Runs the main queue's tasks on the calling thread until `done` answers true; `done` is asked before the
/// first task and after each one.
void runMainQueueUntil(const std::function<bool()>& done);

}  // namespace KavrelCrypto::DeviceUnderTest
