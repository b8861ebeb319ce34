#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "platform/desktop/Device.hpp"
#include "tools/kavrel/CommandIO.hpp"
#include "tools/kavrel/Commands.hpp"

namespace KavrelCrypto::Host {
namespace {

using Desktop::DeviceState;

constexpr std::array<std::pair<std::string_view, LABiometryType>, 3> biometryKinds{{
    {"none", LABiometryType::none},
    {"touchID", LABiometryType::touchID},
    {"faceID", LABiometryType::faceID},
}};

constexpr std::array<std::pair<std::string_view, bool>, 2> truthValues{{{"true", true}, {"false", false}}};

constexpr std::array<std::pair<std::string_view, bool DeviceState::*>, 4> switches{{
    {"enrolled", &DeviceState::enrolled},
    {"lockedOut", &DeviceState::lockedOut},
    {"locked", &DeviceState::locked},
    {"firstUnlock", &DeviceState::firstUnlock},
}};

template <typename T, std::size_t size>
const T* named(const std::array<std::pair<std::string_view, T>, size>& table, std::string_view name) {
    const auto entry =
        std::find_if(table.begin(), table.end(), [&](const auto& e) { return e.first == name; });
    return entry == table.end() ? nullptr : &entry->second;
}

template <typename T, std::size_t size>
std::string_view nameOf(const std::array<std::pair<std::string_view, T>, size>& table, T value) {
    return std::find_if(table.begin(), table.end(), [&](const auto& e) { return e.second == value; })->first;
}

/// Carries out `name`=`value` on `state`; false when there is no such name or value.
bool assign(DeviceState& state, std::string_view name, std::string_view value) {
    if (name == "biometry") {
        const LABiometryType* kind = named(biometryKinds, value);
        state.biometry = kind != nullptr ? *kind : state.biometry;
        return kind != nullptr;
    }
    const auto* member = named(switches, name);
    const bool* truth = named(truthValues, value);
    if (member == nullptr || truth == nullptr) {
        return false;
    }
    state.*(*member) = *truth;
    if (name == "lockedOut" && !*truth) {
        state.failedPrompts = 0;  // otherwise the next failure would lock the sensor out again
    }
    return true;
}

void assignAll(DeviceState& state, const std::vector<std::string>& assignments) {
    std::set<std::string_view> names;
    for (const std::string_view assignment : assignments) {
        const std::size_t sign = assignment.find('=');
        const std::string_view name = assignment.substr(0, sign);
        if (sign == std::string_view::npos || !assign(state, name, assignment.substr(sign + 1))) {
            throw CommandError("\"" + std::string(assignment) +
                               "\" cannot be set. Give biometry=none|touchID|faceID, or true or false to "
                               "enrolled, lockedOut, locked or firstUnlock. Nothing was changed.");
        }
        names.insert(name);
    }
    // A device is unlocked for the first time when it is unlocked: naming one of the two settles the other.
    // When both are named, the device itself refuses what cannot be.
    if (names.contains("locked") && !names.contains("firstUnlock") && !state.locked) {
        state.firstUnlock = true;
    }
    if (names.contains("firstUnlock") && !names.contains("locked") && !state.firstUnlock) {
        state.locked = true;
    }
}

}  // namespace

int showDeviceCommand(const Settings& settings) {
    const Output output(STDERR_FILENO);
    openChosenDevice(settings);
    const DeviceState state = Desktop::deviceState();
    std::string lines = "biometry=" + std::string(nameOf(biometryKinds, state.biometry)) + "\n";
    for (const auto& [name, member] : switches) {
        lines += std::string(name) + "=" + std::string(nameOf(truthValues, state.*member)) + "\n";
    }
    output.write(lines);
    return 0;
}

int setDeviceCommand(const Settings& settings, const std::vector<std::string>& assignments) {
    openChosenDevice(settings);
    Desktop::changeDeviceState([&](DeviceState& state) { assignAll(state, assignments); });
    return 0;
}

int resetDeviceCommand(const Settings& settings) {
    openChosenDevice(settings);
    Desktop::resetDevice();
    return 0;
}

}  // namespace KavrelCrypto::Host
