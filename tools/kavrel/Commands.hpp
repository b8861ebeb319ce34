#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The commands of `kavrel`. Each returns its exit status. What a person has to put right first is thrown as
/// a CommandError or a Desktop::DeviceError, with a sentence that says so.
namespace KavrelCrypto::Host {

/// The options that every command takes; absent where they were not given.
struct Settings {
    std::optional<std::string> device;
    std::optional<std::string> prompt;
};

/// Opens the device that `settings` name, or else the default one, and returns its folder.
std::filesystem::path openChosenDevice(const Settings& settings);

/// Makes one plugin call and prints how it was settled. `options` is a JSON object, "-" for standard input,
/// or "@" and the name of a file. Returns 0 if the call was resolved, 1 if it was rejected, and 3 if it will
/// never be settled.
int callCommand(const Settings& settings, const std::string& method, const std::string& options);

/// Shows an enrolment and a signature, step by step. Returns 0 if all went well, and 1 if a step went wrong.
int demoCommand(const Settings& settings);

/// Reads a certification request from standard input and prints a certificate for it.
int issueCommand(const Settings& settings);

/// How "sign" is to sign; `nationalCode` is the certificate's where it was not given.
struct SignOptions {
    std::optional<std::string> nationalCode;
    bool jws = false;
};

/// Has a person of the device sign the file at `path`, and prints the name of the file that holds the
/// signature. Returns 0 if that was written, 1 if the device did not sign, and 3 if it will never answer.
int signCommand(const Settings& settings, const std::string& path, const SignOptions& options);

/// Prints the state of the device.
int showDeviceCommand(const Settings& settings);

/// Changes the state of the device. `assignments` have the form "NAME=VALUE"; either all of them take effect
/// or none.
int setDeviceCommand(const Settings& settings, const std::vector<std::string>& assignments);

/// Makes the device a new one, but keeps its test authority.
int resetDeviceCommand(const Settings& settings);

}  // namespace KavrelCrypto::Host
