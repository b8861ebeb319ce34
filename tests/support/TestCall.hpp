#pragma once

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/Capacitor.hpp"

namespace KavrelCrypto {

/// A call that a test makes. It carries the arguments and records how, how often and on which thread it was
/// finished.
class TestCall final : public CAPPluginCall {
  public:
    struct Rejection {
        std::string message;
        std::optional<std::string> code{};
        std::optional<NSError> error{};
        std::optional<JSObject> data{};

        friend bool operator==(const Rejection&, const Rejection&) = default;
    };

    explicit TestCall(std::optional<JSObject> options) : options_(std::move(options)) {}

    [[nodiscard]] const JSObject* options() const override {
        return options_.has_value() ? &*options_ : nullptr;
    }

    void resolve(JSObject result) override {
        finishedOn = std::this_thread::get_id();
        results.push_back(std::move(result));
    }

    void reject(std::string message, std::optional<std::string> code, std::optional<NSError> error,
                std::optional<JSObject> data) override {
        finishedOn = std::this_thread::get_id();
        rejections.push_back({std::move(message), std::move(code), std::move(error), std::move(data)});
    }

    [[nodiscard]] std::size_t timesFinished() const {
        return results.size() + rejections.size();
    }

    std::vector<JSObject> results;
    std::vector<Rejection> rejections;
    std::thread::id finishedOn;

  private:
    const std::optional<JSObject> options_;
};

using TestCallRef = std::shared_ptr<TestCall>;

}  // namespace KavrelCrypto
