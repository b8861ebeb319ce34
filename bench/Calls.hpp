#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "bench/Inputs.hpp"
#include "platform/Capacitor.hpp"
#include "plugin/DigitalSignPlugin.hpp"

/// Calls of the plugin as a page makes them.
namespace KavrelCrypto::Bench {

/// A call whose options belong to somebody else.
class Call final : public CAPPluginCall {
  public:
    explicit Call(const JSObject& options) : options_(options) {}

    [[nodiscard]] const JSObject* options() const override {
        return &options_;
    }
    void resolve(JSObject result) override {
        result_ = std::move(result);
    }
    void reject(std::string message, std::optional<std::string>, std::optional<NSError>,
                std::optional<JSObject>) override {
        rejection_ = std::move(message);
    }

    [[nodiscard]] bool isSettled() const {
        return result_ || rejection_;
    }

    /// Returns the result of the settled call. Throws std::runtime_error if it was rejected.
    [[nodiscard]] const JSObject& result() const {
        if (!result_) {
            throw std::runtime_error("A call was rejected with \"" + rejection_.value_or("") + "\".");
        }
        return *result_;
    }

  private:
    const JSObject& options_;
    std::optional<JSObject> result_;
    std::optional<std::string> rejection_;
};

inline JSObject personOptions(const std::string& nationalCode) {
    return {{"nationalCode", nationalCode}};
}

inline JSObject requestOptions() {
    const UserInfo user = sara();
#define FIELD(name) {#name, user.name},
    return {{"userInfo", JSObject{KAVREL_CRYPTO_USER_INFO(FIELD)}}};
#undef FIELD
}

inline JSObject digestOptions(const std::string& nationalCode, const std::string& digestB64) {
    return {{"nationalCode", nationalCode}, {"digestB64", digestB64}};
}

inline JSObject certificateOptions(const std::string& nationalCode, const std::string& certPem) {
    return {{"nationalCode", nationalCode}, {"certPem", certPem}};
}

}  // namespace KavrelCrypto::Bench
