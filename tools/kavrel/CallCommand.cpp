#include <cstdio>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "tools/kavrel/CommandIO.hpp"
#include "tools/kavrel/Commands.hpp"
#include "tools/kavrel/JSON.hpp"
#include "tools/kavrel/PluginCall.hpp"
#include "tools/kavrel/Prompt.hpp"

namespace KavrelCrypto::Host {
namespace {

enum ExitStatus { resolved = 0, rejected = 1, neverSettled = 3 };

void checkMethod(std::string_view method) {
    std::string names;
    for (const auto& [name, entryPoint] : DigitalSignPlugin::methods()) {
        if (name == method) {
            return;
        }
        names.append(names.empty() ? "" : ", ").append(name);
    }
    throw CommandError("the plugin has no method \"" + std::string(method) + "\". Its methods are " + names +
                       ".");
}

JSObject parseOptions(const std::string& text, const std::string& source) {
    try {
        JSValue value = parseJSON(text);
        if (auto* object = value.as<JSObject>()) {
            return std::move(*object);
        }
    } catch (const JSONError& error) {
        throw CommandError(source + " cannot be read as JSON: " + error.what());
    }
    throw CommandError(source + " must be a JSON object, such as {\"nationalCode\":\"0012345678\"}.");
}

JSObject readOptions(const std::string& argument) {
    if (argument == "-") {
        return parseOptions(readStandardInput(), "standard input");
    }
    if (argument.starts_with('@')) {
        const std::string path = argument.substr(1);
        return parseOptions(readFile(path), '"' + path + '"');
    }
    return parseOptions(argument, "OPTIONS");
}

}  // namespace

int callCommand(const Settings& settings, const std::string& method, const std::string& options) {
    checkMethod(method);
    JSObject arguments = readOptions(options);
    const Output output(STDERR_FILENO);
    openChosenDevice(settings);
    answerPrompts(settings.prompt);

    const auto outcome = performCall(DigitalSignPlugin(), method, std::move(arguments));
    if (!outcome) {
        std::fprintf(stderr, "kavrel: the call of \"%s\" was delivered, but nothing will ever settle it.\n",
                     method.c_str());
        return neverSettled;
    }
    output.write(writeJSON(outcomeValue(*outcome)) + "\n");
    return std::holds_alternative<JSObject>(*outcome) ? resolved : rejected;
}

}  // namespace KavrelCrypto::Host
