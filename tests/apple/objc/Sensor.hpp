#pragma once

#import <Foundation/Foundation.h>
#include <optional>
#include <string>
#include <vector>

#include "platform/LocalAuthentication.hpp"

/// The stand-in for LocalAuthentication, as a test meets it.
namespace AppleStandIns {

/// Face ID, enrolled and not locked; prompts cancelled; no prompt shown yet. Waits for the prompts that are
/// still being answered.
void startNewSensor();

void setBiometrics(KavrelCrypto::LABiometryType kind, bool enrolled, bool lockedOut);

/// Lets the next question whether biometrics can be used be answered by a no with `reason`, which may be nil.
void refuseNext(NSError* reason);

enum class Answer { match, noMatch, cancel, failureWithoutError };

/// How the prompts are answered from now on.
void answerPrompts(Answer answer);

/// The reasons of the prompts shown since startNewSensor, in order.
std::vector<std::string> promptsShown();

/// How many contexts there are.
int contextsAlive();

}  // namespace AppleStandIns
