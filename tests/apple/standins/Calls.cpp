// The record of calls and the failures to order.

#include <map>
#include <mutex>

#include "apple/standins/Object.hpp"

namespace AppleStandIns {
namespace {

/// Keeps the record small when a test uses an alias of a million bytes.
constexpr std::size_t longestArgument = 2000;

std::mutex recordMutex;
std::vector<std::string> made;
std::map<std::string, Failure> ordered;

}  // namespace

void forgetCalls() {
    const std::lock_guard lock(recordMutex);
    made.clear();
    ordered.clear();
}

std::vector<std::string> calls() {
    const std::lock_guard lock(recordMutex);
    return made;
}

void failNext(const std::string& operation, Failure failure) {
    const std::lock_guard lock(recordMutex);
    ordered.insert_or_assign(operation, std::move(failure));
}

void record(const std::string& operation, const std::vector<CFTypeRef>& arguments) {
    std::string call = operation;
    for (CFTypeRef argument : arguments) {
        call.append(1, ' ').append(textOf(argument), 0, longestArgument);
    }
    const std::lock_guard lock(recordMutex);
    made.push_back(std::move(call));
}

std::optional<Failure> takeFailure(const std::string& operation) {
    const std::lock_guard lock(recordMutex);
    const auto taken = ordered.extract(operation);
    return taken.empty() ? std::nullopt : std::optional(taken.mapped());
}

bool fails(const std::string& operation, CFErrorRef* error) {
    const std::optional<Failure> failure = takeFailure(operation);
    if (!failure.has_value()) {
        return false;
    }
    if (const auto* beside = std::get_if<ErrorAllTheSame>(&*failure)) {
        giveError(error, beside->error);
        return false;
    }
    if (const auto* reason = std::get_if<Error>(&*failure)) {
        giveError(error, *reason);
    } else if (!std::holds_alternative<Nothing>(*failure)) {
        fault(operation + " has no such way to fail");
    }
    return true;
}

}  // namespace AppleStandIns
