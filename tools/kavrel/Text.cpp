#include "tools/kavrel/Text.hpp"

#include <sstream>

namespace KavrelCrypto::Host {

std::string folded(std::string line, std::size_t width, const std::string& indentation) {
    std::string result;
    while (line.size() > width) {
        const std::size_t comma = line.rfind(',', width - 1);
        if (comma == std::string::npos) {
            break;
        }
        result.append(line, 0, comma + 1).append("\n").append(indentation);
        line.erase(0, comma + (line.compare(comma + 1, 1, " ") == 0 ? 2 : 1));
    }
    return result + line;
}

std::string indented(const std::string& text, std::size_t margin) {
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        result += (line.empty() ? "" : std::string(margin, ' ')) + line + "\n";
    }
    return result;
}

}  // namespace KavrelCrypto::Host
