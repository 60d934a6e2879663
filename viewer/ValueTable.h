#ifndef VIEWER_VALUETABLE_H
#define VIEWER_VALUETABLE_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace viewer {

/**
 * The distinct values of one column of a series, each kept exactly as its text, numbered in order of first
 * appearance.
 *
 * Equal numbers written differently ("1", "1.0", "1e0") are one value. Integers are kept exactly at any size
 * (a 64-bit key such as 18446744073709551615 stays that text); other numbers by their double, written in the
 * shortest text that reads back as it. Points refer to values by their number, so a column costs 4 bytes a
 * point however long its values' texts are.
 */
class ValueTable {
public:
    struct Entry {
        std::string text;
        double number = 0.0;
        /// The value is an integer that fits a signed 64-bit integer, held in `integer`.
        bool isInteger = false;
        std::int64_t integer = 0;
    };

    /// The number of the value whose JSON number text is `text` (of `length` bytes), added when new.
    std::uint32_t add(const char* text, std::size_t length);
    std::uint32_t add(const std::string& text) { return add(text.data(), text.size()); }

    std::size_t size() const { return entries.size(); }
    const Entry& operator[](std::uint32_t index) const { return entries[index]; }
    /// The number of the value with this canonical text, or -1.
    long long find(const std::string& text) const;
    /// Every value is an integer with at most 53 bits, exact as a double.
    bool allSafeIntegers() const { return safeIntegers; }

private:
    std::uint32_t _insert(Entry&& entry);
    // The number of an integer, found or added.
    std::uint32_t _integer(std::int64_t value);

    std::vector<Entry> entries;
    std::unordered_map<std::int64_t, std::uint32_t> integers;
    std::unordered_map<std::uint64_t, std::uint32_t> doubles; // by their bits
    std::unordered_map<std::string, std::uint32_t> bigIntegers;
    bool safeIntegers = true;
    // The last value looked up: runs of one value are common.
    // Recently found integers, by their low bits: the few states of a row are found without hashing.
    struct Recent {
        std::int64_t value = 0;
        std::uint32_t index = 0;
        bool used = false;
    };
    Recent recent[256];
};

} // namespace viewer

#endif
