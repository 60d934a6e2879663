#include "algorithms/PivotNaming.h"

#include "app/ProcessDictionary.h"
#include "kestrel/JSOM.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/Singleton.h"

#include <cstdio>

std::string PivotNaming::configure(const std::string& names, const std::string& fieldName,
                                   perfevents::TracePointFieldStore::ValueKind kind) {
    typedef perfevents::TracePointFieldStore S;
    Mode wanted = kind == S::VALUE_TEXT                                    ? TEXTS
                  : kind == S::VALUE_ADDRESS                               ? HEX
                  : fieldName == "common_pid" || fieldName == "common_tid" ? THREADS
                                                                           : NUMBERS;
    if (kind == S::VALUE_TEXT && !names.empty() && names != "texts") {
        return "\"pivotNames\" is \"" + names + "\", but the pivot field \"" + fieldName + "\" is a text";
    }
    if (kind != S::VALUE_TEXT) {
        if (names == "threads") {
            wanted = THREADS;
        } else if (names == "devices") {
            wanted = DEVICES;
        } else if (names == "hex") {
            wanted = HEX;
        } else if (names == "numbers") {
            wanted = NUMBERS;
        } else if (!names.empty()) {
            return "\"pivotNames\" is \"" + names + "\": use threads, devices, hex, numbers or texts";
        }
    }
    // Every configuration's pivot field must be named the same way.
    if (configured && wanted != mode) {
        return "the pivot field \"" + fieldName + "\" is not of the kind of the other configurations' pivot fields";
    }
    mode = wanted;
    unsignedKeys = unsignedKeys || kind == S::VALUE_UNSIGNED || kind == S::VALUE_ADDRESS;
    configured = true;
    return std::string();
}

std::string PivotNaming::labelPrefix(kestrel::JSOM& detail) {
    const char* prefix = detail["pivotPrefix"].stringValuePtr(nullptr);
    return prefix != nullptr && prefix[0] != '\0' ? std::string(prefix) + ' ' : std::string();
}

std::string PivotNaming::label(const std::string& prefix, long long key, std::size_t limit) const {
    std::string name;
    char number[32];
    switch (mode) {
    case THREADS: {
        const std::string* thread =
            kestrel::Singleton<ProcessDictionary>::Instance().getThreadName(static_cast<int32_t>(key));
        if (thread != nullptr && !thread->empty()) {
            name = *thread;
        }
        break;
    }
    case DEVICES: {
        const unsigned long long device = static_cast<unsigned long long>(key);
        snprintf(number, sizeof(number), "%llu:%llu", device >> 20, device & 0xfffffULL);
        name = number;
        break;
    }
    case HEX:
        snprintf(number, sizeof(number), "0x%llx", static_cast<unsigned long long>(key));
        name = number;
        break;
    case TEXTS:
        if (key >= 0 && static_cast<std::size_t>(key) < texts->getTexts().size()) {
            name = texts->getTexts()[static_cast<std::size_t>(key)];
        }
        break;
    case NUMBERS:
        break;
    }
    if (name.empty()) {
        if (unsignedKeys) {
            snprintf(number, sizeof(number), "%llu", static_cast<unsigned long long>(key));
        } else {
            snprintf(number, sizeof(number), "%lld", key);
        }
        name = number;
    }
    std::string text = prefix + name;
    if (text.size() > limit) {
        text.resize(limit);
    }
    return text;
}

void PivotNaming::writeKey(kestrel::JsomWriter& writer, long long key) const {
    if (unsignedKeys) {
        writer.appendUnsignedLong(static_cast<unsigned long long>(key));
    } else {
        writer.appendLong(key);
    }
}
