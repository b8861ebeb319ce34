#pragma once

#include <functional>
#include <string>

/// The simulated biometric sensor: who answers its prompts.
namespace KavrelCrypto::Desktop {

enum class PromptAnswer { match, noMatch, cancel };

/// Answers a prompt that shows `reason`. It is called on a thread of the sensor's own, a new one for each
/// prompt, and may take as long as a person does.
using PromptAnswerer = std::function<PromptAnswer(const std::string& reason)>;

/// Sets who answers the prompts from now on. Until this is called, every prompt is cancelled.
void answerPromptsWith(PromptAnswerer answerer);

}  // namespace KavrelCrypto::Desktop
