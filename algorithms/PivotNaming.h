#ifndef ALGORITHMS_PIVOTNAMING_H
#define ALGORITHMS_PIVOTNAMING_H

#include "perfevents/TextDictionary.h"
#include "perfevents/TracePointFieldStore.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace kestrel {
class JSOM;
class JsomWriter;
} // namespace kestrel

/**
 * How the series of a pivoted plot are labelled: by the value of their pivot field, named as the channel's
 * "pivotNames" says or, without it, as the field suggests:
 * - "threads": the thread's name in the process dictionary (the default for common_pid and common_tid);
 * - "devices": a device number (dev_t) as major:minor;
 * - "hex": in hexadecimal (the default for pointers);
 * - "numbers": the number itself (the default for other numbers; unsigned 64-bit fields read as unsigned);
 * - text fields are always labelled by their text.
 * Keys of unsigned 64-bit fields and pointers are written as unsigned numbers.
 */
class PivotNaming {
public:
    enum Mode { NUMBERS, THREADS, DEVICES, HEX, TEXTS };

    /// Decides the naming for a pivot field read as kind; names is the channel's "pivotNames" (empty when it has
    /// none). Returns an empty string, or why the names do not fit the field.
    std::string configure(const std::string& names, const std::string& fieldName,
                          perfevents::TracePointFieldStore::ValueKind kind);

    /// The label of a key, after the prefix, at most limit characters long in all.
    std::string label(const std::string& prefix, long long key, std::size_t limit) const;
    /// Writes a key as a number: unsigned for unsigned 64-bit fields and pointers.
    void writeKey(kestrel::JsomWriter& writer, long long key) const;

    /// The series of a map by pivot key, in the order they are written: by key, as unsigned numbers where the
    /// pivot field is unsigned.
    template <typename Map> std::vector<typename Map::iterator> order(Map& series) const {
        std::vector<typename Map::iterator> entries;
        for (auto entry = series.begin(); entry != series.end(); ++entry) {
            entries.push_back(entry);
        }
        if (unsignedKeys) {
            std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
                return static_cast<unsigned long long>(a->first) < static_cast<unsigned long long>(b->first);
            });
        }
        return entries;
    }
    /// What goes before each pivoted label: the channel's "pivotPrefix" and a blank, or nothing.
    static std::string labelPrefix(kestrel::JSOM& detail);

    Mode getMode() const { return mode; }
    bool isUnsigned() const { return unsignedKeys; }
    /// The texts of a text pivot field (shared by the readers of every configuration).
    perfevents::TextDictionary& getTexts() { return *texts; }

private:
    Mode mode = NUMBERS;
    bool unsignedKeys = false;
    bool configured = false;
    std::shared_ptr<perfevents::TextDictionary> texts = std::make_shared<perfevents::TextDictionary>();
};

#endif
