#include "tools/kavrel/JSON.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <numeric>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace KavrelCrypto::Host {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr std::size_t deepestLevel = 512;

std::string place(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const std::size_t lineStart = before.rfind('\n') + 1;  // 0 on the first line, where rfind returns npos
    // Columns are counted in characters, so the continuation bytes of UTF-8 are skipped.
    const auto column = std::count_if(before.begin() + static_cast<std::ptrdiff_t>(lineStart), before.end(),
                                      [](char byte) { return (byte & 0xC0) != 0x80; });
    return "line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) + ", column " +
           std::to_string(column + 1) + ": ";
}

/// Returns the parser's reason without the class name and the place that come before it, and without the text
/// that comes after it: what was read last may be a megabyte long, and may be unfit for a terminal.
std::string reason(const json::exception& error) {
    constexpr int numberOutOfRange = 406;
    if (error.id == numberOutOfRange) {
        return "a number that is too large";
    }
    const std::string_view message = error.what();
    const std::string_view tail = message.substr(message.find("syntax error"));
    return std::string(tail.substr(0, tail.find("; last read")));
}

/// Keeps one member of each name: the first, with the value of the last.
std::vector<JSMember> withoutDuplicates(std::vector<JSMember> members) {
    std::vector<std::size_t> byName(members.size());
    std::iota(byName.begin(), byName.end(), std::size_t{0});
    std::stable_sort(byName.begin(), byName.end(),
                     [&](std::size_t a, std::size_t b) { return members[a].key < members[b].key; });
    std::vector<bool> isRepetition(members.size());
    for (std::size_t i = 1, first = 0; i < byName.size(); ++i) {
        if (members[byName[i]].key != members[byName[first]].key) {
            first = i;
            continue;
        }
        members[byName[first]].value = std::move(members[byName[i]].value);
        isRepetition[byName[i]] = true;
    }
    const JSMember* const begin = members.data();
    std::erase_if(members, [&](const JSMember& member) {
        return isRepetition[static_cast<std::size_t>(&member - begin)];
    });
    return members;
}

/// Builds the value while the text is parsed, so that a long text needs neither a second tree nor recursion.
class Builder final : public nlohmann::json_sax<json> {
  public:
    explicit Builder(std::string_view text) : text_(text) {}

    JSValue take() {
        return std::move(root_);
    }
    [[nodiscard]] const std::string& error() const {
        return error_;
    }

    bool null() override {
        return add(nullptr);
    }
    bool boolean(bool value) override {
        return add(value);
    }
    bool number_integer(number_integer_t value) override {
        return add(value);
    }
    bool number_unsigned(number_unsigned_t value) override {
        return std::in_range<std::int64_t>(value) ? add(static_cast<std::int64_t>(value))
                                                  : add(static_cast<double>(value));
    }
    bool number_float(number_float_t value, const string_t&) override {
        return add(value);
    }
    bool string(string_t& value) override {
        return add(std::move(value));
    }
    bool binary(binary_t&) override {
        return false;  // JSON has none
    }
    bool start_object(std::size_t) override {
        return open(Members());
    }
    bool key(string_t& name) override {
        std::get<Members>(open_.back()).key = std::move(name);
        return true;
    }
    bool end_object() override {
        Members object = std::get<Members>(std::move(open_.back()));
        open_.pop_back();
        return add(JSObject(withoutDuplicates(std::move(object.members))));
    }
    bool start_array(std::size_t) override {
        return open(JSArray());
    }
    bool end_array() override {
        JSArray array = std::get<JSArray>(std::move(open_.back()));
        open_.pop_back();
        return add(std::move(array));
    }
    bool parse_error(std::size_t position, const std::string&, const json::exception& error) override {
        error_ = place(text_, position == 0 ? 0 : position - 1) + reason(error);
        return false;
    }

  private:
    /// The members so far of an object that is still open, and the key of the next one.
    struct Members {
        std::vector<JSMember> members;
        std::string key;
    };

    bool add(JSValue value) {
        if (open_.empty()) {
            root_ = std::move(value);
        } else if (auto* array = std::get_if<JSArray>(&open_.back())) {
            array->push_back(std::move(value));
        } else {
            auto& object = std::get<Members>(open_.back());
            object.members.push_back({std::move(object.key), std::move(value)});
        }
        return true;
    }
    bool open(std::variant<JSArray, Members> container) {
        if (open_.size() == deepestLevel) {
            error_ = "values are nested deeper than " + std::to_string(deepestLevel) + " levels";
            return false;
        }
        open_.push_back(std::move(container));
        return true;
    }

    std::string_view text_;
    JSValue root_;
    std::vector<std::variant<JSArray, Members>> open_;
    std::string error_;
};

ordered_json toJSON(const JSValue& value) {
    return std::visit(
        [](const auto& alternative) -> ordered_json {
            using T = std::decay_t<decltype(alternative)>;
            if constexpr (std::is_same_v<T, JSArray>) {
                ordered_json array = ordered_json::array();
                for (const JSValue& element : alternative) {
                    array.push_back(toJSON(element));
                }
                return array;
            } else if constexpr (std::is_same_v<T, JSObject>) {
                ordered_json object = ordered_json::object();
                for (const auto& [key, member] : alternative.members()) {
                    object[key] = toJSON(member);
                }
                return object;
            } else {
                return alternative;
            }
        },
        value.storage());
}

}  // namespace

JSValue parseJSON(std::string_view text) {
    // The parser would take a NUL character for the end of the text and ignore what follows it.
    if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
        throw JSONError(place(text, nul) + "a NUL character; write it \\u0000, within a string");
    }
    if (text.empty()) {  // for which the parser's releases have different words
        throw JSONError(place(text, 0) + "syntax error while parsing value - unexpected end of input");
    }
    Builder builder(text);
    if (!json::sax_parse(text, &builder)) {
        throw JSONError(builder.error());
    }
    return builder.take();
}

std::string writeJSON(const JSValue& value) {
    return toJSON(value).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace KavrelCrypto::Host
