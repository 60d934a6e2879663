#include "perfevents/TraceDatEventLayouts.h"

#include "perfevents/TraceDatInput.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace perfevents {

namespace {
const bool HOST_BIG_ENDIAN = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

std::string trim(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::uint32_t numberAfter(const std::string& line, const char* key) {
    const std::size_t at = line.find(key);
    return at == std::string::npos
               ? 0
               : static_cast<std::uint32_t>(std::strtoul(line.c_str() + at + std::strlen(key), nullptr, 10));
}
} // namespace

TraceDatEventLayouts::TraceDatEventLayouts(const std::vector<TraceDatFile::Format>& formats, bool bigEndian)
    : swap(bigEndian != HOST_BIG_ENDIAN) {
    common = {{0, 2, 2}, {4, 4, 4}};
    for (const TraceDatFile::Format& format : formats) {
        std::istringstream lines(format.text);
        std::string line, name;
        long long id = -1;
        std::vector<Number> fields;
        while (std::getline(lines, line)) {
            const std::string text = trim(line);
            if (text.compare(0, 5, "name:") == 0) {
                name = trim(text.substr(5));
            } else if (text.compare(0, 3, "ID:") == 0) {
                char* end = nullptr;
                id = std::strtoll(text.c_str() + 3, &end, 10);
            } else if (text.compare(0, 6, "field:") == 0) {
                const std::size_t semicolon = text.find(';');
                if (semicolon == std::string::npos)
                    continue;
                const std::string declaration = text.substr(6, semicolon - 6);
                const std::uint32_t offset = numberAfter(text, "offset:");
                const std::uint32_t size = numberAfter(text, "size:");
                std::uint32_t element = size;
                const std::size_t bracket = declaration.find('[');
                if (declaration.find("__data_loc") != std::string::npos ||
                    declaration.find("__rel_loc") != std::string::npos) {
                    element = 4;
                } else if (bracket != std::string::npos) {
                    const unsigned long count = std::strtoul(declaration.c_str() + bracket + 1, nullptr, 10);
                    element = count > 0 ? static_cast<std::uint32_t>(size / count) : 1;
                }
                if ((element == 2 || element == 4 || element == 8) && size % element == 0)
                    fields.push_back({offset, size, element});
            }
        }
        if (id < 0 || id > 0xFFFF || name.empty())
            continue;
        names[static_cast<unsigned long long>(id)] = format.system + ":" + name;
        numbers[static_cast<unsigned>(id)] = fields;
    }
}

void TraceDatEventLayouts::toHostOrder(unsigned char* record, std::uint32_t size) const {
    if (!swap || size < 2)
        return;
    const unsigned id = static_cast<unsigned>(TraceDatInput::decode(record, 2, !HOST_BIG_ENDIAN));
    const auto found = numbers.find(id);
    const std::vector<Number>& fields = found != numbers.end() ? found->second : common;
    for (const Number& field : fields) {
        if (field.offset > size || field.size > size - field.offset)
            continue;
        for (std::uint32_t at = field.offset; at < field.offset + field.size; at += field.element)
            std::reverse(record + at, record + at + field.element);
    }
}

} // namespace perfevents
