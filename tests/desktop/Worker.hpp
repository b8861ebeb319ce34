#pragma once

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace KavrelCrypto {

/// A running session worker, whose output is its standard error. It is killed when the object goes.
class Worker {
  public:
    explicit Worker(const std::vector<std::string>& arguments) {
        std::string command = "echo $$; exec '" WORKER "'";
        for (const std::string& argument : arguments) {
            command += " '" + argument + "'";
        }
        output_.reset(::popen((command + " 2>&1 >/dev/null").c_str(), "re"));
        process_ = std::stoi(readLine());
    }
    Worker(Worker&&) = default;
    ~Worker() {
        if (output_ != nullptr) {
            kill();
        }
    }

    /// Waits for a line of output and returns it with its line feed, or what there is when the output ends.
    std::string readLine() {
        std::string line;
        for (int c = 0; !line.ends_with('\n') && (c = std::fgetc(output_.get())) != EOF;) {
            line += static_cast<char>(c);
        }
        return line;
    }

    /// Returns the output that has not been read, once the process has closed it.
    std::string readAll() {
        std::string all;
        for (std::string line = readLine(); !line.empty(); line = readLine()) {
            all += line;
        }
        return all;
    }

    void kill() const {
        ::kill(process_, SIGKILL);
    }

    /// Waits for the end of the process. Returns its status as waitpid does.
    int wait() {
        return ::pclose(output_.release());
    }

  private:
    struct Close {
        void operator()(FILE* stream) const {
            ::pclose(stream);
        }
    };

    std::unique_ptr<FILE, Close> output_;
    pid_t process_ = 0;
};

}  // namespace KavrelCrypto
