// How inputs in DER are changed: within one element, and the lengths of all that are around it are written
// anew. Any other change breaks a length, and a reader gives up at once.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <random>

#include "text/Bytes.hpp"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed);

namespace KavrelCrypto {
namespace {

constexpr std::size_t mostAdded = 64;

void appendElement(std::uint8_t tag, BytesView content, Bytes& out) {
    out.push_back(tag);
    const std::size_t size = content.size();
    if (size >= 0x100) {
        append(Bytes{0x82, static_cast<std::uint8_t>(size >> 8U)}, out);
    } else if (size >= 0x80) {
        out.push_back(0x81);
    }
    out.push_back(static_cast<std::uint8_t>(size));
    append(content, out);
}

/// Writes elements anew, all as they were but one.
class Rewriter {
  public:
    explicit Rewriter(std::optional<std::size_t> chosen) : chosen_(chosen) {}

    Bytes rewritten(BytesView data) {
        Bytes out;
        while (const std::optional<std::size_t> size = sizeOfFirst(data)) {
            const std::size_t header = data[1] < 0x80 ? 2U : data[1] - 0x80U + 2U;
            appendRewritten(data.first(*size), header, out);
            data = data.subspan(*size);
        }
        append(data, out);  // which is no element
        return out;
    }

    [[nodiscard]] std::size_t count() const {
        return count_;
    }

  private:
    /// Returns the size of the element that `data` begins with, whose length takes one to three octets.
    static std::optional<std::size_t> sizeOfFirst(BytesView data) {
        if (data.size() < 2 || data[1] == 0x80 || data[1] > 0x82 || data.size() < data[1] % 0x80U + 2) {
            return std::nullopt;
        }
        const std::size_t size = data[1] < 0x80    ? 2U + data[1]
                                 : data[1] == 0x81 ? 3U + data[2]
                                                   : 4U + data[2] * 0x100U + data[3];
        return size <= data.size() ? std::optional(size) : std::nullopt;
    }

    void appendRewritten(BytesView element, std::size_t header, Bytes& out) {
        constexpr std::uint8_t bitString = 0x03;
        const std::uint8_t tag = element[0];
        const BytesView content = element.subspan(header);
        if (count_++ == chosen_) {
            append(mutated(element, header), out);
        } else if ((tag & 0x20U) != 0) {
            appendElement(tag, rewritten(content), out);
        } else if (tag == bitString && !content.empty()) {  // a public key is DER in a BIT STRING
            Bytes bits{content[0]};
            append(rewritten(content.subspan(1)), bits);
            appendElement(tag, bits, out);
        } else {
            append(element, out);
        }
    }

    /// Returns the element with other content, or with another tag and length too.
    static Bytes mutated(BytesView element, std::size_t header) {
        const bool asWhole = element.size() % 4 == 0;
        const BytesView part = asWhole ? element : element.subspan(header);
        Bytes changed(part.begin(), part.end());
        changed.resize(part.size() + mostAdded);
        changed.resize(LLVMFuzzerMutate(changed.data(), part.size(), changed.size()));
        if (asWhole) {
            return changed;
        }
        Bytes out;
        appendElement(element[0], changed, out);
        return out;
    }

    std::optional<std::size_t> chosen_;
    std::size_t count_ = 0;
};

}  // namespace
}  // namespace KavrelCrypto

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
    using namespace KavrelCrypto;
    std::minstd_rand random(seed);
    Rewriter counter(std::nullopt);
    counter.rewritten({data, size});
    if (counter.count() == 0 || random() % 8 == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    const Bytes changed = Rewriter(random() % counter.count()).rewritten({data, size});
    const std::size_t changedSize = std::min(changed.size(), maxSize);
    std::copy_n(changed.begin(), changedSize, data);
    return changedSize;
}
