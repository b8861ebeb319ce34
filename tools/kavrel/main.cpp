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

#include "devices/desktop/Device.hpp"
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

/// The exit status for everything that a person has to put right before the command can do its work.
constexpr int cannotBeDone = 2;

/// What the command line asks for.
struct CommandLine {
    Settings settings;
    std::string method;
    std::string options = "{}";
    std::vector<std::string> assignments;
    std::string file;
    SignOptions sign;
    std::function<int()> command;
};

/// Describes METHOD with the names in the plugin's own list.
std::string methodHelp() {
    std::string handled;
    std::string unhandled;
    for (const auto& [name, entryPoint] : DigitalSignPlugin::methods()) {
        std::string& names = entryPoint != nullptr ? handled : unhandled;
        names.append(names.empty() ? "" : ", ").append(name);
    }
    return folded(
        "one of " + handled + "; " + unhandled + " is registered, but a call of it is never settled", 80, "");
}

void addCall(CLI::App& kavrel, CommandLine& line) {
    CLI::App* call = kavrel.add_subcommand("call", "Make one plugin call, as a web app would");
    call->add_option("METHOD", line.method, methodHelp())->required()->option_text(" ");
    call->add_option("OPTIONS", line.options,
                     "the arguments: a JSON object, - to read it from standard input, or @FILE to read it\n"
                     "from a file; {} if left out")
        ->option_text(" ");
    call->footer(R"(Prints one line: {"resolve":{...}} or {"reject":{"message":"...","code":null}}.
The component's console lines go to standard error.

Exit status: 0 if the call was resolved; 1 if it was rejected; 2 if the command line, the JSON or
the device is wrong; 3 if the call was delivered but will never be settled.

Examples:
  kavrel call ensureKey '{"nationalCode":"0012345678"}'
  kavrel call createCSR @person.json | jq -r .resolve.csrPem | kavrel issue > certificate.pem
  jq -n --rawfile pem certificate.pem '{nationalCode:"0012345678",certPem:$pem}' |
    kavrel call storeCertificate -
  kavrel call signDigest '{"nationalCode":"0012345678","digestB64":"AAEC"}' --prompt match

"kavrel --help" explains --device and --prompt, which may be given anywhere.)");
    call->callback(
        [&] { line.command = [&] { return callCommand(line.settings, line.method, line.options); }; });
}

void addDemo(CLI::App& kavrel, CommandLine& line) {
    CLI::App* demo =
        kavrel.add_subcommand("demo", "Watch a whole enrolment and two signatures, step by step");
    demo->footer(
        R"(Enrols an invented person on a new device, signs a digest and a document, checks both with OpenSSL,
and removes the device. Biometric prompts are answered with a match.

Exit status: 0 if all went well; 1 if a step went wrong; 2 if the command line or the device is wrong.

Examples:
  kavrel demo
  kavrel demo --prompt ask      answer the biometric prompt yourself
  kavrel demo --device here     use the device in the folder "here" and keep it; the person's keys
                                and the certificate on that device are replaced)");
    demo->callback([&] { line.command = [&] { return demoCommand(line.settings); }; });
}

void addIssue(CLI::App& kavrel, CommandLine& line) {
    CLI::App* issue = kavrel.add_subcommand("issue", "Issue a test certificate for a certification request");
    issue->footer(
        R"(Reads a request (PKCS #10) in base64, PEM or DER from standard input and checks its signature. Prints
a certificate in PEM for its subject, its key and the extended key usage that it asks for, valid for
a year. The test authority is created on first use and kept in the folder "authority" of the device.
It is for development and tests only: nobody should trust it.

Exit status: 0 if the certificate was issued; 2 if the request, the command line or the device is wrong.

Examples:
  kavrel call createCSR @person.json | jq -r .resolve.csrPem | kavrel issue > certificate.pem
  openssl req -new -newkey rsa:2048 -nodes -keyout key.pem -subj /CN=Example | kavrel issue

"kavrel --help" explains --device, which may be given anywhere.)");
    issue->callback([&] { line.command = [&] { return issueCommand(line.settings); }; });
}

void addSign(CLI::App& kavrel, CommandLine& line) {
    CLI::App* sign =
        kavrel.add_subcommand("sign", "Sign a file, as the person whose certificate the device has");
    sign->add_option("FILE", line.file, "the file to sign, of any kind and size; it stays as it is")
        ->required()
        ->option_text(" ");
    sign->add_flag("--jws", line.sign.jws,
                   "make a token (JWS, RS256) that holds the file, and write FILE.jws instead");
    sign->add_option("--national-code", line.sign.nationalCode,
                     "whose key signs; by default the person's whom the certificate names")
        ->option_text("CODE");
    sign->footer(
        R"(Writes FILE.p7s beside FILE: a detached CMS signature (CAdES baseline B) with the certificate in it.
An existing file is not overwritten, and nothing is left half written. Prints the name of the new file.
The device has to hold the certificate of the person's key, and asks once for a biometric match.

Exit status: 0 if the signature was written; 1 if the device did not sign; 2 if the file, the
certificate, the command line or the device is wrong; 3 if the device will never answer.

Examples:
  kavrel sign contract.pdf --prompt match
  openssl cms -verify -cades -purpose any -CAfile authority.pem -binary -content contract.pdf \
    -inform DER -in contract.pdf.p7s -out /dev/null
  kavrel sign claims.json --jws

"kavrel --help" explains --device and --prompt, which may be given anywhere.)");
    sign->callback([&] { line.command = [&] { return signCommand(line.settings, line.file, line.sign); }; });
}

void addDeviceSet(CLI::App& device, CommandLine& line) {
    CLI::App* set = device.add_subcommand("set", "Change the state: all the values given, or none of them");
    set->add_option("SETTING", line.assignments,
                    "biometry=KIND           the kind of sensor: none, touchID, faceID or opticID\n"
                    "enrolled=true|false     whether a person is enrolled\n"
                    "lockedOut=true|false    whether too many attempts failed; false forgets them\n"
                    "locked=true|false       whether the device is locked, so that keys cannot be read\n"
                    "firstUnlock=true|false  whether it has been unlocked since it was started")
        ->required()
        ->option_text(" ");
    set->footer(R"(locked=false sets firstUnlock=true as well, and firstUnlock=false sets locked=true.

Examples:
  kavrel device set biometry=touchID enrolled=true
  kavrel device set lockedOut=true)");
    set->callback([&] { line.command = [&] { return setDeviceCommand(line.settings, line.assignments); }; });
}

void addDevice(CLI::App& kavrel, CommandLine& line) {
    CLI::App* device = kavrel.add_subcommand("device", "Look at the simulated phone, or change its state");
    device->require_subcommand(1);
    device->footer(R"(Examples:
  kavrel device show
  kavrel device set enrolled=false        nobody has enrolled a face yet
  kavrel device set locked=true           the owner has locked the phone
  kavrel device reset                     as new: no keys, no certificate, Face ID enrolled

"kavrel --help" explains --device, which may be given anywhere.)");

    CLI::App* show = device->add_subcommand("show", "Print the state, one NAME=VALUE per line");
    show->footer(R"("kavrel device set" accepts what this prints.

Example:
  kavrel device show)");
    show->callback([&] { line.command = [&] { return showDeviceCommand(line.settings); }; });

    addDeviceSet(*device, line);

    CLI::App* reset =
        device->add_subcommand("reset", "Delete all items and restore the state of a new device");
    reset->footer(R"(The test authority of "kavrel issue" is kept.

Example:
  kavrel device reset --device here)");
    reset->callback([&] { line.command = [&] { return resetDeviceCommand(line.settings); }; });
}

void addEverything(CLI::App& kavrel, CommandLine& line) {
    kavrel.set_version_flag("--version", "kavrel " KAVREL_VERSION);
    kavrel.require_subcommand(1);
    kavrel.fallthrough();  // lets the options below follow a command, too; every command inherits it
    kavrel.get_formatter()->column_width(18);
    kavrel.get_formatter()->label("OPTIONS", "--device DIR] [--prompt HOW");  // the usage line puts it in [ ]
    kavrel.get_formatter()->label("SUBCOMMAND", "COMMAND");
    kavrel
        .add_option("--device", line.settings.device,
                    "the folder that holds the device; by default $KAVREL_DEVICE, or else kavrel/device in\n"
                    "the XDG data folder ($XDG_DATA_HOME or ~/.local/share)")
        ->option_text("DIR");
    kavrel
        .add_option("--prompt", line.settings.prompt,
                    "how biometric prompts are answered: ask (on the terminal), match, no-match or cancel;\n"
                    "by default ask if there is a terminal, and cancel if there is none")
        ->option_text("HOW")
        ->check(CLI::IsMember({"ask", "match", "no-match", "cancel"}));
    kavrel.footer(R"(Both options may be given before or after a command and its arguments.
The device is simulated, for development and tests. It does not protect a real person's key.

Examples:
  kavrel demo
  kavrel call hasKey '{"nationalCode":"0012345678"}'
  kavrel call --help)");
    addCall(kavrel, line);
    addDemo(kavrel, line);
    addIssue(kavrel, line);
    addSign(kavrel, line);
    addDevice(kavrel, line);
}

/// Returns the name of the command that was being read, after the names of those that it belongs to.
std::string nameOfCommand(const CLI::App& kavrel) {
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
        return cannotBeDone;
    }
    try {
        kavrel.parse(argc, argv);
    } catch (const CLI::Success& request) {  // for --help or --version
        std::ostringstream text;
        kavrel.exit(request, text);
        Output(STDERR_FILENO).write(text.str());
        return 0;
    } catch (const CLI::ParseError& error) {
        const std::vector<std::string> unread = kavrel.remaining(true);
        const bool hasUnknownWord = error.get_name() == "RequiredError" && !unread.empty();
        std::cerr << "kavrel: "
                  << (hasUnknownWord ? "\"" + unread.front() + "\" is not known here" : error.what())
                  << "\n\"" << nameOfCommand(kavrel) << " --help\" says what can be given.\n";
        return cannotBeDone;
    }
    return line.command();
}

/// Says in one sentence what ended the command. Allocates nothing, since there may be no memory.
void report(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
        std::fputs("kavrel: there is not enough memory to go on.\n", stderr);
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "kavrel: the system refuses something that is needed to go on: %s\n",
                     error.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kavrel: %s\n", error.what());
    }
}

/// Ends the process if nothing catches an exception: it was thrown on a thread of the device's own, or where
/// a second exception cannot be thrown, in which case nothing may be known of it.
[[noreturn]] void reportAndEnd() {
    if (const std::exception_ptr failure = std::current_exception()) {
        report(failure);
    } else {
        std::fputs("kavrel: a failure could not be handled, probably for lack of memory.\n", stderr);
    }
    std::_Exit(cannotBeDone);
}

}  // namespace
}  // namespace KavrelCrypto::Host

int main(int argc, char** argv) {
    // A reader that goes away (SIGPIPE) and a limit on the size of files (SIGXFSZ) become errors of the write
    // that met them, so that they are reported and the command tidies up.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    KavrelCrypto::Host::occupyStandardDescriptors();
    std::set_terminate(KavrelCrypto::Host::reportAndEnd);
    try {
        return KavrelCrypto::Host::run(argc, argv);
    } catch (...) {
        KavrelCrypto::Host::report(std::current_exception());
        return KavrelCrypto::Host::cannotBeDone;
    }
}
