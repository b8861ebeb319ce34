#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <new>
#include <sstream>
#include <system_error>
#include <unistd.h>

#include "platform/desktop/Device.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "tools/kavrel/CommandIO.hpp"
#include "tools/kavrel/Commands.hpp"
#include "tools/kavrel/Text.hpp"

namespace KavrelCrypto::Host {

std::filesystem::path openChosenDevice(const Settings& settings) {
    std::filesystem::path folder =
        settings.device ? std::filesystem::path(*settings.device) : Desktop::defaultDeviceFolder();
    Desktop::openDevice(folder);
    return folder;
}

namespace {

constexpr int wrongCommandLine = 2;

/// What the command line says.
struct CommandLine {
    Settings settings;
    std::string method;
    std::string options = "{}";
    std::vector<std::string> assignments;
    std::function<int()> command;
};

/// What the help says of METHOD: the names in the plugin's own list.
std::string methodHelp() {
    std::string handled;
    std::string unhandled;
    for (const auto& [name, entryPoint] : DigitalSignPlugin::methods()) {
        std::string& names = entryPoint != nullptr ? handled : unhandled;
        names.append(names.empty() ? "" : ", ").append(name);
    }
    return folded("one of " + handled + "; " + unhandled + " is there too, but a call of it never ends", 80,
                  "");
}

void addCall(CLI::App& kavrel, CommandLine& line) {
    CLI::App* call = kavrel.add_subcommand("call", "Make one plugin call, as a web app would");
    call->add_option("METHOD", line.method, methodHelp())->required()->option_text(" ");
    call->add_option("OPTIONS", line.options,
                     "its arguments, a JSON object; {} without it; - reads it from standard input,\n"
                     "@FILE from a file")
        ->option_text(" ");
    call->footer(
        "Prints one line: {\"resolve\":{...}} or {\"reject\":{\"message\":\"...\",\"code\":null}}.\n"
        "The component's console lines go to standard error.\n"
        "\n"
        "Exit status: 0 resolved, 1 rejected, 2 the command line, the JSON or the device is wrong,\n"
        "3 delivered, and nothing will ever finish it.\n"
        "\n"
        "Examples:\n"
        "  kavrel call ensureKey '{\"nationalCode\":\"0012345678\"}'\n"
        "  kavrel call createCSR @person.json | jq -r .resolve.csrPem | kavrel issue > certificate.pem\n"
        "  jq -n --rawfile pem certificate.pem '{nationalCode:\"0012345678\",certPem:$pem}' |\n"
        "    kavrel call storeCertificate -\n"
        "  kavrel call signDigest '{\"nationalCode\":\"0012345678\",\"digestB64\":\"AAEC\"}' --prompt match\n"
        "\n"
        "\"kavrel --help\" explains --device and --prompt, which may stand anywhere.");
    call->callback(
        [&] { line.command = [&] { return callCommand(line.settings, line.method, line.options); }; });
}

void addDemo(CLI::App& kavrel, CommandLine& line) {
    CLI::App* demo = kavrel.add_subcommand("demo", "Watch a whole enrolment and a signature, step by step");
    demo->footer(
        "Enrols an invented person on a fresh device, which is removed afterwards, signs a digest, and "
        "checks\n"
        "the signature with OpenSSL. Biometric prompts are answered with a match.\n"
        "\n"
        "Exit status: 0 all went well, 1 a step went wrong, 2 the command line or the device is wrong.\n"
        "\n"
        "Examples:\n"
        "  kavrel demo\n"
        "  kavrel demo --prompt ask      answer the biometric prompt yourself\n"
        "  kavrel demo --device here     keep the device, in the folder \"here\", and look at it "
        "afterwards;\n"
        "                                the certificate in it and the person's keys are replaced");
    demo->callback([&] { line.command = [&] { return demoCommand(line.settings); }; });
}

void addIssue(CLI::App& kavrel, CommandLine& line) {
    CLI::App* issue = kavrel.add_subcommand("issue", "Issue a test certificate for a certification request");
    issue->footer(
        "Reads a request (PKCS #10) from standard input, in base64, PEM or DER; checks its signature; prints "
        "a\n"
        "certificate in PEM, valid for a year, for the subject, the key and the extended key usage in it.\n"
        "The test authority is made on first use and stays in the device's folder, in authority/.\n"
        "It is for development and tests: nobody should trust it.\n"
        "\n"
        "Exit status: 0 issued, 2 the request, the command line or the device is wrong.\n"
        "\n"
        "Examples:\n"
        "  kavrel call createCSR @person.json | jq -r .resolve.csrPem | kavrel issue > certificate.pem\n"
        "  openssl req -new -newkey rsa:2048 -nodes -keyout key.pem -subj /CN=Example | kavrel issue\n"
        "\n"
        "\"kavrel --help\" explains --device, which may stand anywhere.");
    issue->callback([&] { line.command = [&] { return issueCommand(line.settings); }; });
}

void addDevice(CLI::App& kavrel, CommandLine& line) {
    CLI::App* device = kavrel.add_subcommand("device", "Look at the simulated phone, or change its state");
    device->require_subcommand(1);
    device->footer(
        "Examples:\n"
        "  kavrel device show\n"
        "  kavrel device set enrolled=false        nobody has shown a face to it yet\n"
        "  kavrel device set locked=true           its owner has locked it\n"
        "  kavrel device reset                     as new: no keys, no certificate, Face ID enrolled\n"
        "\n"
        "\"kavrel --help\" explains --device, which may stand anywhere.");

    CLI::App* show = device->add_subcommand("show", "Print the state, one NAME=VALUE a line");
    show->footer("What it prints can be given to \"kavrel device set\".\n\nExample:\n  kavrel device show");
    show->callback([&] { line.command = [&] { return showDeviceCommand(line.settings); }; });

    CLI::App* set = device->add_subcommand("set", "Change the state: all that is named, or nothing");
    set->add_option("NAME=VALUE", line.assignments,
                    "biometry=KIND           the kind of sensor: none, touchID, faceID or opticID\n"
                    "enrolled=true|false     whether the sensor knows a person\n"
                    "lockedOut=true|false    whether too many attempts failed; false forgets them\n"
                    "locked=true|false       while it is true, keys cannot be read\n"
                    "firstUnlock=true|false  whether it was unlocked since it was started")
        ->required()
        ->option_text(" ");
    set->footer(
        "locked=false makes firstUnlock true as well, and firstUnlock=false makes locked true.\n"
        "\n"
        "Examples:\n"
        "  kavrel device set biometry=touchID enrolled=true\n"
        "  kavrel device set lockedOut=true");
    set->callback([&] { line.command = [&] { return setDeviceCommand(line.settings, line.assignments); }; });

    CLI::App* reset =
        device->add_subcommand("reset", "Make it a new device: no items, the state of a new one");
    reset->footer(
        "The test authority of \"kavrel issue\" stays.\n\nExample:\n  kavrel device reset --device here");
    reset->callback([&] { line.command = [&] { return resetDeviceCommand(line.settings); }; });
}

void addEverything(CLI::App& kavrel, CommandLine& line) {
    kavrel.set_version_flag("--version", "kavrel " KAVREL_VERSION);
    kavrel.require_subcommand(1);
    kavrel.fallthrough();  // so that the options below may also stand after a command; commands inherit it
    kavrel.get_formatter()->column_width(18);
    kavrel.get_formatter()->label("OPTIONS",
                                  "--device DIR] [--prompt HOW");  // as the usage line puts it in [ ]
    kavrel.get_formatter()->label("SUBCOMMAND", "COMMAND");
    kavrel
        .add_option("--device", line.settings.device,
                    "the folder that is the device; else $KAVREL_DEVICE, else kavrel/device in the\n"
                    "XDG data folder ($XDG_DATA_HOME or ~/.local/share)")
        ->option_text("DIR");
    kavrel
        .add_option("--prompt", line.settings.prompt,
                    "who answers biometric prompts: ask (the terminal), match, no-match or cancel;\n"
                    "by default they are asked on the terminal, and cancelled where there is none")
        ->option_text("HOW")
        ->check(CLI::IsMember({"ask", "match", "no-match", "cancel"}));
    kavrel.footer(
        "Both options may stand before or after a command and its arguments.\n"
        "The device is simulated, for development and tests. It does not protect a real person's key.\n"
        "\n"
        "Examples:\n"
        "  kavrel demo\n"
        "  kavrel call hasKey '{\"nationalCode\":\"0012345678\"}'\n"
        "  kavrel call --help");
    addCall(kavrel, line);
    addDemo(kavrel, line);
    addIssue(kavrel, line);
    addDevice(kavrel, line);
}

/// The command that was being read, after those that it belongs to.
std::string commandRead(const CLI::App& kavrel) {
    std::string name = kavrel.get_name();
    for (const CLI::App* app = &kavrel; !app->get_subcommands().empty();) {
        app = app->get_subcommands().front();
        name += " " + app->get_name();
    }
    return name;
}

int run(int argc, const char* const* argv) {
    CommandLine line;
    CLI::App kavrel("The DigitalSign plugin on a simulated phone.", "kavrel");
    addEverything(kavrel, line);
    if (argc == 1) {
        std::cerr << kavrel.help();
        return wrongCommandLine;
    }
    try {
        kavrel.parse(argc, argv);
    } catch (const CLI::Success& wish) {  // --help, --version
        std::ostringstream text;
        kavrel.exit(wish, text);
        Output(STDERR_FILENO).write(text.str());
        return 0;
    } catch (const CLI::ParseError& error) {
        const std::vector<std::string> unread = kavrel.remaining(true);
        const bool hasUnknownWord = error.get_name() == "RequiredError" && !unread.empty();
        std::cerr << "kavrel: "
                  << (hasUnknownWord ? "\"" + unread.front() + "\" is not known here" : error.what())
                  << "\n\"" << commandRead(kavrel) << " --help\" says what can be given.\n";
        return wrongCommandLine;
    }
    return line.command();
}

/// Says in one sentence what ended the command. Asks for no memory, since there may be none.
void report(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
        std::fputs("kavrel: there is not enough memory to go on.\n", stderr);
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "kavrel: the system refuses what is needed to go on: %s\n", error.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kavrel: %s\n", error.what());
    }
}

/// Ends the process when nobody can catch an exception: it was thrown on a thread of the device's own, or
/// where none may be thrown, in which case it may be unknown.
[[noreturn]] void reportAndEnd() {
    if (const std::exception_ptr failure = std::current_exception()) {
        report(failure);
    } else {
        std::fputs("kavrel: a failure could not be dealt with, probably for want of memory.\n", stderr);
    }
    std::_Exit(wrongCommandLine);
}

}  // namespace
}  // namespace KavrelCrypto::Host

int main(int argc, char** argv) {
    // A reader that goes away and a limit on the size of files are errors like any other: there is a sentence
    // about them, and what was begun is tidied up.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    KavrelCrypto::Host::occupyStandardDescriptors();
    std::set_terminate(KavrelCrypto::Host::reportAndEnd);
    try {
        return KavrelCrypto::Host::run(argc, argv);
    } catch (...) {
        KavrelCrypto::Host::report(std::current_exception());
        return KavrelCrypto::Host::wrongCommandLine;
    }
}
