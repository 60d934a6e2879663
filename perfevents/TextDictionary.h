#ifndef PERFEVENTS_TEXTDICTIONARY_H
#define PERFEVENTS_TEXTDICTIONARY_H

#include <string>
#include <unordered_map>
#include <vector>

namespace perfevents {

/**
 * The distinct texts of a text field (an IRQ handler's name, the file an exec runs), each known by a number: 0 for
 * the first text seen, 1 for the next new one, and so on, so that a text can be plotted like any number and named
 * again through the dictionary the output writes. The numbers depend only on the order of the samples.
 */
class TextDictionary {
public:
    /// The number of a text, given it if it is new.
    long long numberOf(const char* text, std::size_t length);
    /// The texts by number.
    const std::vector<std::string>& getTexts() const { return texts; }

private:
    std::unordered_map<std::string, long long> numbers;
    std::vector<std::string> texts;
    std::string lastText; // consecutive samples often carry the same text
    long long lastNumber = -1;
};

} // namespace perfevents

#endif
