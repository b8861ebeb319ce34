#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Capacitor.hpp"
#include "platform/LocalAuthentication.hpp"
#include "tests/support/TestCall.hpp"
#include "text/Bytes.hpp"

/// The device under the tests of the plugin, with the plugin on it. Everything that these tests ask of the
/// component or of what lies below it goes through the functions here, so that one set of cases runs over
/// every device.
///
/// The device may be in another process, so only values cross this boundary: strings, numbers, bytes, JSON
/// values and how a call ended. Each function is a message and its answer there. The cases count on the
/// following, wherever the device is:
///
/// - A function returns when the device has done all that it asks for. `begin` returns when the entry point
///   has, even if the platform below made it wait.
/// - A call is finished within `begin`, on the calling thread, or within `runMainQueueUntil`, on the thread
///   that runs the queue, and at no other time. What a prompt's answer leads to, the lookup of the key
///   included, happens within `runMainQueueUntil` too: a test can do something else in between.
/// - The console's lines and the prompts arrive in the order in which they were made.
/// - If the device is gone or does not answer within a minute, a function throws std::runtime_error.
///
/// Cases about threads, about the C++ classes or about a process that stops need a device in this process;
/// tests/plugin/CMakeLists.txt lists them apart. Such a device takes most of these functions from
/// NativeDevice.
namespace KavrelCrypto::DeviceUnderTest {

/// Makes the device a new one: no items, a face enrolled for Face ID, not locked out, prompts cancelled, no
/// prompt shown yet.
void startNew();

/// Sets the kind of sensor, and whether it can be used. Without a sensor the other two do not count.
void setBiometrics(LABiometryType kind, bool enrolled, bool lockedOut);

enum class PromptAnswer { match, noMatch, cancel };

/// Sets how the prompts are answered from now on.
void answerPrompts(PromptAnswer answer);

/// Returns the reasons of the prompts shown since `startNew`, in order.
std::vector<std::string> promptsShown();

/// Whether a prompt that comes up while another waits for its answer interrupts that one. Where it does not,
/// it waits.
bool promptsInterrupt();

/// Hands a call of `method` to the plugin and returns when the method's entry point has returned; by then the
/// call may be finished. `options` is the argument map, absent for a call without one. The test fails if the
/// plugin has no entry point of this name.
TestCallRef begin(std::string_view method, std::optional<JSObject> options);

/// Runs the main queue's tasks until `done` returns true, then those that were posted before that. Gives up
/// after a minute: a call that is never finished fails its own test and does not hold up the others.
void runMainQueueUntil(const std::function<bool()>& done);

/// Returns the console lines that the component prints while `work` runs, each with its line feed.
std::string printedBy(const std::function<void()>& work);

// The keychain, behind the plugin's back.

enum class KeyHalf { privateKey, publicKey };

/// Returns the public key of the RSA key under the application tag `tag`, as a PKCS #1 RSAPublicKey in DER.
/// `half` says which half of a pair to look for. Absent if there is none.
std::optional<Bytes> keychainKey(KeyHalf half, const std::string& tag);

/// Generates an RSA pair of 2048 bits, keeps its halves under the two tags, and returns the public key as
/// `keychainKey` does.
Bytes addKeychainPair(const std::string& privateTag, const std::string& publicTag);

/// Deletes the keys under `tag`. Returns whether there were any.
bool deleteKeychainKeys(const std::string& tag);

}  // namespace KavrelCrypto::DeviceUnderTest
