#pragma once

#include <functional>
#include <string>

/// The simulated biometric sensor: who answers its prompts.
namespace KavrelCrypto::Desktop {

enum class PromptAnswer { match, noMatch, cancel };

/// Answers a prompt that shows `reason`. Called on a thread of the sensor's own, one for each prompt; it may
/// take as long as a person takes.
using PromptAnswerer = std::function<PromptAnswer(const std::string& reason)>;

/// Sets who answers the prompts from now on. Until it is called every prompt is cancelled.
void answerPromptsWith(PromptAnswerer answerer);

}  // namespace KavrelCrypto::Desktop
