#include "perfevents/TextDictionary.h"

namespace perfevents {

long long TextDictionary::numberOf(const char* text, std::size_t length) {
    if (lastNumber >= 0 && lastText.size() == length && lastText.compare(0, length, text, length) == 0) {
        return lastNumber;
    }
    lastText.assign(text, length);
    auto found = numbers.find(lastText);
    if (found == numbers.end()) {
        found = numbers.emplace(lastText, static_cast<long long>(texts.size())).first;
        texts.push_back(lastText);
    }
    lastNumber = found->second;
    return lastNumber;
}

} // namespace perfevents
