#pragma once

#include <optional>
#include <string>

/// Answers to the prompts of the simulated biometric sensor.
namespace KavrelCrypto::Host {

/// Sets how the sensor's prompts are answered: `how` is "match", "no-match", "cancel", or "ask" to ask on the
/// terminal. Without `how`, they are asked if somebody sits at a terminal, and cancelled otherwise. Throws
/// CommandError if `how` is "ask" and there is no terminal.
void answerPrompts(const std::optional<std::string>& how);

}  // namespace KavrelCrypto::Host
