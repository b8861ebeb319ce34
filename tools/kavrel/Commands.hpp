#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The commands of `kavrel`. Each gives its exit status, and throws CommandError or Desktop::DeviceError,
/// with a sentence for people, for what a person has to put right first.
namespace KavrelCrypto::Host {

/// The options that may stand before or after any command, where they were given.
struct Settings {
    std::optional<std::string> device;
    std::optional<std::string> prompt;
};

/// Opens the device that `settings` name, or else the person's usual one, and gives its folder.
std::filesystem::path openChosenDevice(const Settings& settings);

/// One plugin call. `options` is a JSON object, "-" for standard input, or "@" and the name of a file.
/// 0 when it was resolved, 1 when rejected, 3 when nothing will ever finish it.
int callCommand(const Settings& settings, const std::string& method, const std::string& options);

/// An enrolment and a signature, step by step. 0 when all went well, 1 when a step went wrong.
int demoCommand(const Settings& settings);

/// A certification request on standard input, its certificate on standard output.
int issueCommand(const Settings& settings);

int showDeviceCommand(const Settings& settings);
/// `assignments` are of the form "NAME=VALUE". All of them are carried out, or none.
int setDeviceCommand(const Settings& settings, const std::vector<std::string>& assignments);
int resetDeviceCommand(const Settings& settings);

}  // namespace KavrelCrypto::Host
