#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>
#include <unistd.h>

#include "devices/desktop/Device.hpp"
#include "tools/kavrel/CommandIO.hpp"
#include "tools/kavrel/Commands.hpp"

namespace KavrelCrypto::Host {
namespace {

using Desktop::DeviceState;

template <typename T>
struct Named {
    std::string_view name;
    T value;
};

constexpr Named<LABiometryType> biometryKinds[] = {
    {"none", LABiometryType::none},
    {"touchID", LABiometryType::touchID},
    {"faceID", LABiometryType::faceID},
    {"opticID", LABiometryType::opticID},
};

constexpr Named<bool DeviceState::*> switches[] = {
    {"enrolled", &DeviceState::enrolled},
    {"lockedOut", &DeviceState::lockedOut},
    {"locked", &DeviceState::locked},
    {"firstUnlock", &DeviceState::firstUnlock},
};

template <typename T, std::size_t size>
const T* valueNamed(const Named<T> (&table)[size], std::string_view name) {
    const auto* const entry =
        std::find_if(std::begin(table), std::end(table), [&](const Named<T>& e) { return e.name == name; });
    return entry == std::end(table) ? nullptr : &entry->value;
}

/// Sets `name` to `value` in `state`. Returns false if there is no such name or value.
bool assign(DeviceState& state, std::string_view name, std::string_view value) {
    if (name == "biometry") {
        const LABiometryType* kind = valueNamed(biometryKinds, value);
        state.biometry = kind != nullptr ? *kind : state.biometry;
        return kind != nullptr;
    }
    const auto* member = valueNamed(switches, name);
    if (member == nullptr || (value != "true" && value != "false")) {
        return false;
    }
    state.*(*member) = value == "true";
    if (name == "lockedOut" && !state.lockedOut) {
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
            throw CommandError(
                "\"" + std::string(assignment) +
                "\" cannot be set. Give biometry=none|touchID|faceID|opticID, or true or false to "
                "enrolled, lockedOut, locked or firstUnlock. Nothing was changed.");
        }
        names.insert(name);
    }
    // Whoever unlocks a device has also unlocked it for the first time, so each of the two values can imply
    // the other. If both were given, the device itself refuses a contradiction.
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
    std::string lines;
    for (const auto& [name, kind] : biometryKinds) {
        lines += kind == state.biometry ? "biometry=" + std::string(name) + "\n" : "";
    }
    for (const auto& [name, member] : switches) {
        lines += std::string(name) + (state.*member ? "=true\n" : "=false\n");
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
