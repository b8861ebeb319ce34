#pragma once

#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "platform/Capacitor.hpp"
#include "tests/scripted/ScriptedDevice.hpp"

/// What the scripts of several suites have in common.
namespace KavrelCrypto {

/// Returns the query with which the component looks an RSA key up by its tag.
CFDictionary keyLookup(const std::string& tag);

/// Expects such a lookup, which finds `key`, or nothing if `key` is null.
void expectKeyLookup(Script& device, const std::string& tag, SecKeyRef key);

/// Expects the key manager to delete both halves of the pair of `alias`, and to print the statuses.
void expectPairDeletion(Script& device, const std::string& alias, OSStatus privateStatus,
                        OSStatus publicStatus);

/// Returns the parameters with which the key manager generates the pair of `alias`.
CFDictionary pairParameters(const std::string& alias);

/// Returns the arguments of a call of "createCSR", with the national code in the place of all fourteen
/// strings.
JSObject createCSRArguments(const std::string& nationalCode);

/// Returns an error that the key manager makes itself.
NSError managerError(std::int64_t code, const std::string& message);

/// Returns an error of the platform, which prints it as "printed".
NSError errorPrintedAsPrinted();

/// Returns the error that `operation` throws. If it throws none, the test fails.
template <typename Operation>
std::optional<NSError> thrownBy(const Operation& operation) {
    try {
        operation();
    } catch (const NSError& error) {
        return error;
    }
    ADD_FAILURE() << "no error was thrown";
    return std::nullopt;
}

}  // namespace KavrelCrypto
