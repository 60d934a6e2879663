#include "perfevents/TraceDatFile.h"

#include "perfevents/TraceDatInput.h"
#include "perfevents/TraceDatZstd.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>

namespace perfevents {

const unsigned char TraceDatFile::MAGIC[10] = {0x17, 0x08, 0x44, 't', 'r', 'a', 'c', 'i', 'n', 'g'};

namespace {
// Option ids, as trace-cmd numbers them.
const std::uint16_t OPTION_DONE = 0, OPTION_BUFFER = 3, OPTION_OFFSET = 7, OPTION_TIME_SHIFT = 12, OPTION_TSC2NSEC = 14,
                    OPTION_HEADER_INFO = 16, OPTION_CMDLINES = 21, OPTION_BUFFER_TEXT = 22;
// Section ids of version 7: the options, and the sections of the header info ... saved command lines (16-21).
const std::uint16_t SECTION_OPTIONS = 0, SECTION_HEADER_INFO = 16, SECTION_FTRACE_EVENTS = 17,
                    SECTION_EVENT_FORMATS = 18, SECTION_CMDLINES = 21;
const std::uint16_t SECTION_COMPRESSED = 1;
// No section of metadata is larger than this once decompressed; a larger size is damage.
const std::uint64_t MAX_SECTION_SIZE = 1ULL << 30;
const unsigned MAX_CPUS = 1u << 16;

std::string decompress(const std::string& data, bool bigEndian, const std::string& what) {
    if (data.size() < 8)
        throw TraceDatDamage(what + ": the compression header is cut");
    const std::uint32_t compressedSize = static_cast<std::uint32_t>(
        TraceDatInput::decode(reinterpret_cast<const unsigned char*>(data.data()), 4, bigEndian));
    const std::uint32_t size = static_cast<std::uint32_t>(
        TraceDatInput::decode(reinterpret_cast<const unsigned char*>(data.data()) + 4, 4, bigEndian));
    if (compressedSize > data.size() - 8)
        throw TraceDatDamage(what + ": " + std::to_string(compressedSize) +
                             " compressed bytes, but the section holds " + std::to_string(data.size() - 8));
    if (size > MAX_SECTION_SIZE)
        throw TraceDatDamage(what + ": an uncompressed size of " + std::to_string(size) + " bytes");
    std::string out, error;
    if (!TraceDatZstd::decompress(reinterpret_cast<const unsigned char*>(data.data()) + 8, compressedSize, size, out,
                                  error))
        throw TraceDatDamage(what + ": the compressed data is damaged (" + error + ")");
    return out;
}

// A field of the header page description: "field: local_t commit;\toffset:8;\tsize:8;\tsigned:1;".
bool headerField(const std::string& text, const std::string& name, unsigned& offset, unsigned& size) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t semicolon = line.find(';');
        if (line.find("field:") == std::string::npos || semicolon == std::string::npos)
            continue;
        std::size_t start = line.find_last_of(" \t", semicolon);
        if (start == std::string::npos || line.compare(start + 1, semicolon - start - 1, name) != 0)
            continue;
        const std::size_t o = line.find("offset:"), s = line.find("size:");
        if (o == std::string::npos || s == std::string::npos)
            return false;
        offset = static_cast<unsigned>(std::strtoul(line.c_str() + o + 7, nullptr, 10));
        size = static_cast<unsigned>(std::strtoul(line.c_str() + s + 5, nullptr, 10));
        return true;
    }
    return false;
}
} // namespace

bool TraceDatFile::isTraceDat(const unsigned char* head, std::size_t length) {
    return length >= MAGIC_SIZE + 2 && std::memcmp(head, MAGIC, MAGIC_SIZE) == 0 && head[MAGIC_SIZE] >= '0' &&
           head[MAGIC_SIZE] <= '9';
}

TraceDatFile::TraceDatFile(std::istream& input) {
    input.clear();
    input.seekg(0, std::ios::end);
    const std::streamoff end = input.tellg();
    if (!input || end < 0)
        throw TraceDatDamage("the input cannot be sought: give the trace.dat as a file");
    fileSize = static_cast<std::uint64_t>(end);
    TraceDatInput in(input, fileSize, false);
    const std::string magic = in.bytes(MAGIC_SIZE, "the magic");
    if (std::memcmp(magic.data(), MAGIC, MAGIC_SIZE) != 0)
        throw TraceDatDamage("not a trace.dat file (wrong magic)");
    const std::string versionText = in.text("the version", 16);
    version = static_cast<unsigned>(std::strtoul(versionText.c_str(), nullptr, 10));
    if (versionText != "6" && versionText != "7")
        throw TraceDatDamage("trace.dat version \"" + versionText + "\" is not supported (only 6 and 7 are)");
    const std::string flags = in.bytes(2, "the endianness and size of a long");
    if (flags[0] != 0 && flags[0] != 1)
        throw TraceDatDamage("invalid endianness " + std::to_string(static_cast<unsigned char>(flags[0])));
    bigEndian = flags[0] == 1;
    in.setBigEndian(bigEndian);
    longSize = static_cast<unsigned char>(flags[1]);
    if (longSize != 4 && longSize != 8)
        throw TraceDatDamage("invalid size of a long " + std::to_string(longSize));
    pageSize = in.u32("the page size");
    if (pageSize < 64 || pageSize > (1u << 24))
        throw TraceDatDamage("invalid page size " + std::to_string(pageSize));
    if (version == 6)
        _readVersion6(in);
    else
        _readVersion7(in);
    if (headerPage.empty())
        throw TraceDatDamage("the header page description is missing");
    if (headerEvent.find("type_len") == std::string::npos || headerEvent.find("time_delta") == std::string::npos)
        throw TraceDatDamage("the ring buffer's event header is of a layout this reader does not know");
    _parseHeaderPage(headerPage);
}

TraceDatFile::~TraceDatFile() {}

void TraceDatFile::_parseHeaderPage(const std::string& text) {
    unsigned offset = 0, size = 0;
    commitOffset = 8;
    commitSize = longSize;
    if (headerField(text, "commit", offset, size)) {
        commitOffset = offset;
        commitSize = size;
    }
    dataOffset = commitOffset + commitSize;
    if (headerField(text, "data", offset, size))
        dataOffset = offset;
    if ((commitSize != 4 && commitSize != 8) || commitOffset < 8 || commitOffset + commitSize > dataOffset ||
        dataOffset + 8 > pageSize)
        throw TraceDatDamage("the header page description gives an impossible page layout (commit at " +
                             std::to_string(commitOffset) + ", " + std::to_string(commitSize) + " bytes, data at " +
                             std::to_string(dataOffset) + " of a " + std::to_string(pageSize) + "-byte page)");
}

void TraceDatFile::_readHeaders(TraceDatInput& in) {
    if (in.bytes(12, "the header_page label") != std::string("header_page", 12))
        throw TraceDatDamage("the header_page label is missing");
    headerPage = in.bytes(in.u64("the header_page size"), "the header page description");
    if (in.bytes(13, "the header_event label") != std::string("header_event", 13))
        throw TraceDatDamage("the header_event label is missing");
    headerEvent = in.bytes(in.u64("the header_event size"), "the header event description");
}

void TraceDatFile::_readFtraceFormats(TraceDatInput& in) {
    const std::uint32_t count = in.u32("the count of ftrace formats");
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string what = "ftrace format " + std::to_string(i + 1);
        formats.push_back({"ftrace", in.bytes(in.u64("the size of " + what), what)});
    }
}

void TraceDatFile::_readEventFormats(TraceDatInput& in) {
    const std::uint32_t systems = in.u32("the count of event systems");
    for (std::uint32_t s = 0; s < systems; ++s) {
        const std::string system = in.text("the name of event system " + std::to_string(s + 1), 255);
        const std::uint32_t count = in.u32("the event count of system " + system);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::string what = "format " + std::to_string(i + 1) + " of system " + system;
            formats.push_back({system, in.bytes(in.u64("the size of " + what), what)});
        }
    }
}

void TraceDatFile::_readCommandLines(TraceDatInput& in) {
    std::istringstream lines(in.bytes(in.u64("the size of the saved command lines"), "the saved command lines"));
    std::string line;
    while (std::getline(lines, line)) {
        char* end = nullptr;
        const unsigned long pid = std::strtoul(line.c_str(), &end, 10);
        if (end == line.c_str() || *end != ' ' || pid > 0xFFFFFFFFul)
            continue;
        commandLines.emplace_back(static_cast<std::uint32_t>(pid), std::string(end + 1));
    }
}

void TraceDatFile::_readVersion6(TraceDatInput& in) {
    _readHeaders(in);
    _readFtraceFormats(in);
    _readEventFormats(in);
    in.skip(in.u32("the size of the kernel symbols"), "the kernel symbols");
    in.skip(in.u32("the size of the printk formats"), "the printk formats");
    _readCommandLines(in);
    const std::uint32_t cpus = in.u32("the CPU count");
    if (cpus > MAX_CPUS)
        throw TraceDatDamage("invalid CPU count " + std::to_string(cpus));
    std::string label = in.bytes(10, "the data label");
    if (label == std::string("options  ", 10)) {
        for (;;) {
            const std::uint16_t id = in.u16("an option id");
            if (id == OPTION_DONE)
                break;
            const std::uint32_t size = in.u32("the size of option " + std::to_string(id));
            _option(in, id, in.bytes(size, "option " + std::to_string(id)));
        }
        label = in.bytes(10, "the data label");
    }
    if (label == std::string("latency  ", 10))
        throw TraceDatDamage("a latency trace: its data is text, not events");
    if (label != std::string("flyrecord", 10))
        throw TraceDatDamage("the data label is neither \"flyrecord\" nor \"latency\"");
    for (std::uint32_t cpu = 0; cpu < cpus; ++cpu) {
        const std::uint64_t offset = in.u64("the data offset of CPU " + std::to_string(cpu));
        const std::uint64_t size = in.u64("the data size of CPU " + std::to_string(cpu));
        _addCpu(cpu, offset, size);
    }
}

void TraceDatFile::_addCpu(unsigned cpu, std::uint64_t offset, std::uint64_t size) {
    if (size == 0)
        return;
    const std::uint64_t there = offset >= fileSize ? 0 : std::min(size, fileSize - offset);
    cpuData.push_back({cpu, offset, there, size - there});
}

void TraceDatFile::_option(TraceDatInput& in, std::uint16_t id, const std::string& data) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(data.data());
    switch (id) {
    case OPTION_OFFSET:
        // A fixed time added to every stamp, as text.
        timeOffset += std::strtoll(data.c_str(), nullptr, 0);
        break;
    case OPTION_TSC2NSEC:
        if (data.size() >= 16) {
            timeMultiplier = static_cast<std::uint32_t>(TraceDatInput::decode(bytes, 4, bigEndian));
            timeShift = static_cast<std::uint32_t>(TraceDatInput::decode(bytes + 4, 4, bigEndian));
            // The option's offset (bytes 8 to 15) serves the synchronisation with a host; trace-cmd leaves it
            // out of the times it shows, and so does this reader.
            if (timeShift > 63)
                throw TraceDatDamage("invalid shift " + std::to_string(timeShift) + " of the TSC conversion");
        }
        break;
    case OPTION_TIME_SHIFT:
        guestTimeShift = TraceDatTimeShift(data, bigEndian);
        break;
    case OPTION_BUFFER:
        if (version == 7) {
            _buffer(in, data);
        } else {
            // Its offset (8 bytes), then its name.
            const std::string name = data.size() > 8 ? data.substr(8, data.find('\0', 8) - 8) : std::string();
            notConverted.push_back("trace instance \"" + name + "\"");
        }
        break;
    case OPTION_BUFFER_TEXT:
        notConverted.push_back("a latency trace (text)");
        break;
    default:
        if (version == 7 && id >= OPTION_HEADER_INFO && id <= OPTION_CMDLINES && data.size() >= 8)
            sectionOffsets[id - OPTION_HEADER_INFO] = TraceDatInput::decode(bytes, 8, bigEndian);
        break;
    }
}

void TraceDatFile::_buffer(TraceDatInput& in, const std::string& data) {
    std::istringstream stream(data);
    TraceDatInput option(stream, data.size(), bigEndian);
    const std::uint64_t offset = option.u64("the offset of a buffer");
    const std::string name = option.text("the name of a buffer");
    option.text("the clock of buffer \"" + name + "\"");
    if (!name.empty()) {
        notConverted.push_back("trace instance \"" + name + "\"");
        return;
    }
    if (haveBuffer)
        return;
    haveBuffer = true;
    bufferOffset = offset;
    const std::uint32_t bufferPageSize = option.u32("the page size of the top buffer");
    if (bufferPageSize != pageSize)
        throw TraceDatDamage("the top buffer's page size " + std::to_string(bufferPageSize) +
                             " differs from the file's " + std::to_string(pageSize));
    const std::uint32_t cpus = option.u32("the CPU count of the top buffer");
    if (cpus > MAX_CPUS)
        throw TraceDatDamage("invalid CPU count " + std::to_string(cpus));
    std::vector<CpuData> entries;
    for (std::uint32_t i = 0; i < cpus; ++i) {
        const std::uint32_t cpu = option.u32("the id of CPU " + std::to_string(i + 1));
        const std::uint64_t cpuOffset = option.u64("the data offset of CPU " + std::to_string(cpu));
        const std::uint64_t size = option.u64("the data size of CPU " + std::to_string(cpu));
        entries.push_back({cpu, cpuOffset, size, 0});
    }
    // The section header before the data says whether it is compressed.
    in.seek(offset, "the flyrecord section");
    in.u16("the flyrecord section id");
    dataCompressed = (in.u16("the flyrecord section flags") & SECTION_COMPRESSED) != 0;
    if (dataCompressed && compression != "zstd")
        throw TraceDatDamage("the data is compressed with \"" + compression + "\": only zstd is supported");
    // Compressed data begins with a count of chunks that its stated size leaves out.
    for (const CpuData& entry : entries)
        _addCpu(entry.cpu, entry.offset, entry.size == 0 ? 0 : entry.size + (dataCompressed ? 4 : 0));
}

std::string TraceDatFile::_section(TraceDatInput& in, std::uint64_t offset, std::uint16_t id, const std::string& what) {
    in.seek(offset, what);
    const std::uint16_t found = in.u16("the id of " + what);
    if (found != id)
        throw TraceDatDamage(what + " at byte " + std::to_string(offset) + " has the id " + std::to_string(found) +
                             ", not " + std::to_string(id));
    const std::uint16_t flags = in.u16("the flags of " + what);
    in.u32("the description of " + what);
    const std::uint64_t size = in.u64("the size of " + what);
    std::string content = in.bytes(size, what);
    if (flags & SECTION_COMPRESSED) {
        if (compression != "zstd")
            throw TraceDatDamage(what + " is compressed with \"" + compression + "\": only zstd is supported");
        content = decompress(content, bigEndian, what);
    }
    return content;
}

void TraceDatFile::_readVersion7(TraceDatInput& in) {
    compression = in.text("the compression algorithm", 64);
    in.text("the compression version", 64);
    if (compression != "none" && compression != "zstd")
        throw TraceDatDamage("compressed with \"" + compression + "\": only zstd is supported");
    std::uint64_t next = in.u64("the offset of the options");
    std::set<std::uint64_t> seen;
    while (next != 0) {
        if (!seen.insert(next).second)
            throw TraceDatDamage("the options sections form a loop (at byte " + std::to_string(next) + ")");
        const std::string content = _section(in, next, SECTION_OPTIONS, "the options section");
        std::istringstream stream(content);
        TraceDatInput options(stream, content.size(), bigEndian);
        next = 0;
        for (;;) {
            const std::uint16_t id = options.u16("an option id");
            const std::uint32_t size = options.u32("the size of option " + std::to_string(id));
            const std::string data = options.bytes(size, "option " + std::to_string(id));
            if (id == OPTION_DONE) {
                if (data.size() >= 8)
                    next = TraceDatInput::decode(reinterpret_cast<const unsigned char*>(data.data()), 8, bigEndian);
                break;
            }
            _option(in, id, data);
        }
    }
    if (sectionOffsets[SECTION_HEADER_INFO - OPTION_HEADER_INFO] == 0)
        throw TraceDatDamage("no header info section");
    auto parse = [&](std::uint16_t id, const char* what, void (TraceDatFile::*read)(TraceDatInput&)) {
        const std::uint64_t offset = sectionOffsets[id - OPTION_HEADER_INFO];
        if (offset == 0)
            return;
        const std::string content = _section(in, offset, id, what);
        std::istringstream stream(content);
        TraceDatInput section(stream, content.size(), bigEndian);
        (this->*read)(section);
    };
    parse(SECTION_HEADER_INFO, "the header info section", &TraceDatFile::_readHeaders);
    parse(SECTION_FTRACE_EVENTS, "the ftrace formats section", &TraceDatFile::_readFtraceFormats);
    parse(SECTION_EVENT_FORMATS, "the event formats section", &TraceDatFile::_readEventFormats);
    parse(SECTION_CMDLINES, "the saved command lines section", &TraceDatFile::_readCommandLines);
    if (!haveBuffer)
        throw TraceDatDamage("no flyrecord data of the top instance");
}

std::vector<unsigned char> TraceDatFile::getTracingData() const {
    std::vector<unsigned char> out(MAGIC, MAGIC + MAGIC_SIZE);
    auto text = [&](const std::string& t, bool terminate) {
        out.insert(out.end(), t.begin(), t.end());
        if (terminate)
            out.push_back(0);
    };
    auto number = [&](std::uint64_t value, unsigned size) {
        for (unsigned i = 0; i < size; ++i)
            out.push_back(static_cast<unsigned char>(value >> (8 * (bigEndian ? size - 1 - i : i))));
    };
    text(std::to_string(version), true);
    out.push_back(bigEndian ? 1 : 0);
    out.push_back(static_cast<unsigned char>(longSize));
    number(pageSize, 4);
    text("header_page", true);
    number(headerPage.size(), 8);
    text(headerPage, false);
    text("header_event", true);
    number(headerEvent.size(), 8);
    text(headerEvent, false);
    std::vector<std::string> systems;
    std::uint32_t ftrace = 0;
    for (const Format& format : formats) {
        if (format.system == "ftrace")
            ++ftrace;
        else if (std::find(systems.begin(), systems.end(), format.system) == systems.end())
            systems.push_back(format.system);
    }
    number(ftrace, 4);
    for (const Format& format : formats) {
        if (format.system == "ftrace") {
            number(format.text.size(), 8);
            text(format.text, false);
        }
    }
    number(systems.size(), 4);
    for (const std::string& system : systems) {
        text(system, true);
        std::uint32_t count = 0;
        for (const Format& format : formats)
            count += format.system == system ? 1 : 0;
        number(count, 4);
        for (const Format& format : formats) {
            if (format.system == system) {
                number(format.text.size(), 8);
                text(format.text, false);
            }
        }
    }
    number(0, 4); // kernel symbols
    number(0, 4); // printk formats
    return out;
}

} // namespace perfevents
