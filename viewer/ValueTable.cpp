#include "viewer/ValueTable.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace viewer {

namespace {

const std::int64_t SAFE_INTEGER = (std::int64_t(1) << 53);

// The shortest text that reads back as the double.
std::string shortest(double value) {
    char text[40];
    for (int precision = 15; precision <= 17; ++precision) {
        std::snprintf(text, sizeof text, "%.*g", precision, value);
        if (std::strtod(text, nullptr) == value) {
            break;
        }
    }
    return text;
}

} // namespace

long long ValueTable::find(const std::string& text) const {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].text == text) {
            return static_cast<long long>(i);
        }
    }
    return -1;
}

std::uint32_t ValueTable::_insert(Entry&& entry) {
    if (!entry.isInteger || entry.integer > SAFE_INTEGER || entry.integer < -SAFE_INTEGER) {
        safeIntegers = false;
    }
    entries.push_back(std::move(entry));
    return static_cast<std::uint32_t>(entries.size() - 1);
}

std::uint32_t ValueTable::_integer(std::int64_t value) {
    auto found = integers.find(value);
    if (found != integers.end()) {
        return found->second;
    }
    Entry entry;
    entry.text = std::to_string(value);
    entry.number = static_cast<double>(value);
    entry.isInteger = true;
    entry.integer = value;
    const std::uint32_t index = _insert(std::move(entry));
    integers.emplace(value, index);
    return index;
}

std::uint32_t ValueTable::add(const char* text, std::size_t length) {
    // Plain integers of up to 18 digits, the common case, in one pass.
    bool negative = length > 0 && text[0] == '-';
    const std::size_t first = negative ? 1 : 0;
    std::size_t i = first;
    std::int64_t value = 0;
    // At most 18 digits here: they cannot overflow; longer integers take the general path below.
    for (; i < length && i - first < 18 && text[i] >= '0' && text[i] <= '9'; ++i) {
        value = value * 10 + (text[i] - '0');
    }
    if (i == length && length > first) {
        if (negative) {
            value = -value;
        }
        Recent& slot = recent[static_cast<std::uint64_t>(value) & 255];
        if (slot.used && slot.value == value) {
            return slot.index;
        }
        const std::uint32_t index = _integer(value);
        slot.used = true;
        slot.value = value;
        slot.index = index;
        return index;
    }
    std::uint32_t index;
    std::string copy(text, length);
    bool integerText = copy.find_first_of(".eE") == std::string::npos;
    if (integerText) {
        // A long integer: exact as text; one that fits 64 bits signed is found by its value.
        bool negative = copy[0] == '-';
        std::string digits = copy.substr(negative ? 1 : 0);
        errno = 0;
        long long value = std::strtoll(copy.c_str(), nullptr, 10);
        if (errno == 0) {
            index = _integer(value);
        } else {
            std::string canonical = (negative && digits != "0" ? "-" : "") + digits;
            auto found = bigIntegers.find(canonical);
            if (found != bigIntegers.end()) {
                index = found->second;
            } else {
                Entry entry;
                entry.text = canonical;
                entry.number = std::strtod(canonical.c_str(), nullptr);
                index = _insert(std::move(entry));
                bigIntegers.emplace(canonical, index);
            }
        }
    } else {
        double value = std::strtod(copy.c_str(), nullptr);
        if (value == 0.0) {
            value = 0.0; // -0 is 0
        }
        if (std::isfinite(value) && std::floor(value) == value && std::fabs(value) < 9.2e18) {
            // Integral and within 64 bits: the same value as the integer written without a fraction.
            index = _integer(static_cast<std::int64_t>(value));
        } else {
            std::uint64_t bits;
            std::memcpy(&bits, &value, sizeof bits);
            auto found = doubles.find(bits);
            if (found != doubles.end()) {
                index = found->second;
            } else {
                Entry entry;
                // A number too large for a double is no JSON number a browser can read: it is kept as the
                // largest double of its sign, in a text that reads back.
                if (!std::isfinite(value)) {
                    value = std::copysign(std::numeric_limits<double>::max(), value);
                }
                entry.text = shortest(value);
                entry.number = value;
                index = _insert(std::move(entry));
                doubles.emplace(bits, index);
            }
        }
    }
    return index;
}

} // namespace viewer
