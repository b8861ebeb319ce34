#pragma once

#include <optional>
#include <string>

/// Who answers the prompts of the simulated biometric sensor.
namespace KavrelCrypto::Host {

/// Has the sensor's prompts answered as `how` says: "match", "no-match", "cancel", or "ask", which asks on
/// the terminal. Without `how` they are asked where a person sits at a terminal, and cancelled elsewhere.
/// Throws CommandError when "ask" is wanted and there is no terminal.
void answerPrompts(const std::optional<std::string>& how);

}  // namespace KavrelCrypto::Host
