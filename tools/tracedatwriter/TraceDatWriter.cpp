#include "tools/tracedatwriter/TraceDatWriter.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <zstd.h>

namespace tracedatwriter {

namespace {
const unsigned COMMON_SIZE = 8;
const unsigned TYPE_PADDING = 29, TYPE_TIME_EXTEND = 30, TYPE_TIME_STAMP = 31;
const unsigned MAX_SMALL_DATA = 28 * 4;
const std::uint64_t DELTA_LIMIT = 1ULL << 27;

void putText(Bytes& out, const std::string& text, bool terminate = true) {
    out.insert(out.end(), text.begin(), text.end());
    if (terminate)
        out.push_back(0);
}

std::string printFormat(const FieldShape& field) {
    if (field.type.find('[') != std::string::npos)
        return "%s";
    const char* length = field.size == 8 ? "ll" : "";
    return std::string("%") + length + (field.isSigned ? "d" : "u");
}

std::string headerPage(unsigned longSize, unsigned pageSize) {
    const unsigned data = 8 + longSize;
    return "\tfield: u64 timestamp;\toffset:0;\tsize:8;\tsigned:0;\n"
           "\tfield: local_t commit;\toffset:8;\tsize:" +
           std::to_string(longSize) +
           ";\tsigned:1;\n"
           "\tfield: int overwrite;\toffset:8;\tsize:1;\tsigned:1;\n"
           "\tfield: char data;\toffset:" +
           std::to_string(data) + ";\tsize:" + std::to_string(pageSize - data) + ";\tsigned:1;\n";
}

const char HEADER_EVENT[] = "# compressed entry header\n"
                            "\ttype_len    :    5 bits\n"
                            "\ttime_delta  :   27 bits\n"
                            "\tarray       :   32 bits\n"
                            "\n"
                            "\tpadding     : type == 29\n"
                            "\ttime_extend : type == 30\n"
                            "\ttime_stamp : type == 31\n"
                            "\tdata max type_len  == 28\n";
} // namespace

unsigned EventShape::offsetOf(const std::string& field) const {
    unsigned offset = COMMON_SIZE;
    for (const FieldShape& f : fields) {
        if (f.name == field)
            return offset;
        offset += f.size;
    }
    throw std::invalid_argument("no field " + field + " in " + name);
}

unsigned EventShape::recordSize() const {
    unsigned size = COMMON_SIZE;
    for (const FieldShape& f : fields)
        size += f.size;
    return size;
}

std::string EventShape::formatText() const {
    std::string text = "name: " + name + "\nID: " + std::to_string(id) + "\nformat:\n";
    text += "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
            "\tfield:unsigned char common_flags;\toffset:2;\tsize:1;\tsigned:0;\n"
            "\tfield:unsigned char common_preempt_count;\toffset:3;\tsize:1;\tsigned:0;\n"
            "\tfield:int common_pid;\toffset:4;\tsize:4;\tsigned:1;\n\n";
    unsigned offset = COMMON_SIZE;
    std::string print, arguments;
    for (const FieldShape& f : fields) {
        std::string declaration = f.type;
        const std::size_t bracket = declaration.find('[');
        if (bracket != std::string::npos)
            declaration = declaration.substr(0, bracket) + " " + f.name + declaration.substr(bracket);
        else
            declaration += " " + f.name;
        text += "\tfield:" + declaration + ";\toffset:" + std::to_string(offset) + ";\tsize:" + std::to_string(f.size) +
                ";\tsigned:" + (f.isSigned ? "1" : "0") + ";\n";
        offset += f.size;
        print += (print.empty() ? "" : " ") + f.name + "=" + printFormat(f);
        arguments += ", REC->" + f.name;
    }
    return text + "\nprint fmt: \"" + print + "\"" + arguments + "\n";
}

Bytes encodeRecord(const Event& event, bool bigEndian) {
    Bytes out;
    auto put = [&](std::uint64_t value, unsigned size) {
        for (unsigned i = 0; i < size; ++i) {
            const unsigned shift = 8 * (bigEndian ? size - 1 - i : i);
            out.push_back(static_cast<std::uint8_t>(value >> shift));
        }
    };
    put(event.shape->id, 2);
    put(0, 1); // flags
    put(0, 1); // preempt count
    put(event.pid, 4);
    for (std::size_t i = 0; i < event.shape->fields.size(); ++i) {
        const FieldShape& field = event.shape->fields[i];
        const Value value = i < event.values.size() ? event.values[i] : Value(0);
        if (field.type.find('[') != std::string::npos) {
            std::string text = value.text.substr(0, field.size);
            text.resize(field.size, '\0');
            out.insert(out.end(), text.begin(), text.end());
        } else {
            put(value.number, field.size);
        }
    }
    return out;
}

TraceDatWriter::TraceDatWriter(bool bigEndian, unsigned longSize, unsigned pageSize)
    : bigEndian(bigEndian), longSize(longSize), pageSize(pageSize) {}

void TraceDatWriter::addEvent(const EventShape& shape) {
    shapes.push_back(&shape);
}

void TraceDatWriter::addCommandLine(std::uint32_t pid, const std::string& comm) {
    commandLines.emplace_back(pid, comm);
}

void TraceDatWriter::addOption(std::uint16_t id, const Bytes& data) {
    options.emplace_back(id, data);
}

void TraceDatWriter::addTimeOffset(std::int64_t offset) {
    Bytes text;
    putText(text, std::to_string(offset));
    addOption(7, text);
}

void TraceDatWriter::addTscToNanoseconds(std::uint32_t multiplier, std::uint32_t shift, std::uint64_t offset) {
    Bytes data;
    putU32(data, multiplier);
    putU32(data, shift);
    putU64(data, offset);
    addOption(14, data);
}

void TraceDatWriter::addTimeShift(std::uint64_t peer, std::uint32_t flags,
                                  const std::vector<std::vector<ShiftSample>>& cpus, bool fractions) {
    Bytes data;
    putU64(data, peer);
    putU32(data, flags);
    putU32(data, static_cast<std::uint32_t>(cpus.size()));
    for (const auto& samples : cpus) {
        putU32(data, static_cast<std::uint32_t>(samples.size()));
        for (const ShiftSample& sample : samples)
            putU64(data, sample.time);
        for (const ShiftSample& sample : samples)
            putU64(data, static_cast<std::uint64_t>(sample.offset));
        for (const ShiftSample& sample : samples)
            putU64(data, sample.scaling);
    }
    if (fractions) {
        for (const auto& samples : cpus) {
            putU32(data, static_cast<std::uint32_t>(samples.size()));
            for (std::size_t i = 0; i < samples.size(); ++i)
                putU64(data, 0);
        }
    }
    addOption(12, data);
}

void TraceDatWriter::setLayout(unsigned cpu, const PageLayout& layout) {
    layouts.emplace_back(cpu, layout);
}

void TraceDatWriter::putNumber(Bytes& out, std::uint64_t value, unsigned size) const {
    for (unsigned i = 0; i < size; ++i) {
        const unsigned shift = 8 * (bigEndian ? size - 1 - i : i);
        out.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void TraceDatWriter::_putEntry(Bytes& page, unsigned typeLen, std::uint32_t delta) const {
    const std::uint32_t word = bigEndian ? (typeLen << 27) | delta : (delta << 5) | typeLen;
    putU32(page, word);
}

Bytes TraceDatWriter::_cpuPages(unsigned cpu) const {
    PageLayout layout;
    for (const auto& entry : layouts) {
        if (entry.first == cpu)
            layout = entry.second;
    }
    std::vector<const Event*> mine;
    for (const Event& event : events) {
        if (event.cpu == cpu)
            mine.push_back(&event);
    }
    std::stable_sort(mine.begin(), mine.end(), [](const Event* a, const Event* b) { return a->time < b->time; });

    const unsigned dataOffset = 8 + longSize;
    Bytes out;
    std::size_t next = 0;
    unsigned pageIndex = 0;
    unsigned eventIndex = 0;
    while (next < mine.size()) {
        std::int64_t missed = 0;
        for (const auto& m : layout.missed) {
            if (m.first == pageIndex)
                missed = m.second;
        }
        // Room for the data, less the stored count of missed events.
        const unsigned room = pageSize - dataOffset - (missed > 0 ? longSize : 0);
        Bytes data;
        std::uint64_t current = mine[next]->time > 100 ? mine[next]->time - 100 : 0;
        const std::uint64_t pageTime = current;
        unsigned onPage = 0;
        while (next < mine.size() && (layout.eventsPerPage == 0 || onPage < layout.eventsPerPage)) {
            const Event& event = *mine[next];
            const Bytes record = encodeRecord(event, bigEndian);
            const unsigned padded = (static_cast<unsigned>(record.size()) + 3) & ~3u;
            const bool absolute = layout.absoluteEvery > 0 && eventIndex % layout.absoluteEvery == 0;
            const std::uint64_t delta = event.time - current;
            const bool extend = !absolute && delta >= DELTA_LIMIT;
            const bool word = layout.lengthWord || padded > MAX_SMALL_DATA;
            const bool discard = layout.discardEvery > 0 && (eventIndex + 1) % layout.discardEvery == 0;
            const unsigned need = (absolute || extend ? 8 : 0) + 4 + (word ? 4 : 0) + padded + (discard ? 16 : 0);
            if (data.size() + need > room)
                break;
            if (absolute) {
                _putEntry(data, TYPE_TIME_STAMP, static_cast<std::uint32_t>(event.time & (DELTA_LIMIT - 1)));
                putU32(data, static_cast<std::uint32_t>(event.time >> 27));
                current = event.time;
            } else if (extend) {
                _putEntry(data, TYPE_TIME_EXTEND, static_cast<std::uint32_t>(delta & (DELTA_LIMIT - 1)));
                putU32(data, static_cast<std::uint32_t>(delta >> 27));
                current = event.time;
            }
            const std::uint32_t eventDelta = static_cast<std::uint32_t>(event.time - current);
            if (word) {
                _putEntry(data, 0, eventDelta);
                putU32(data, padded + 4);
            } else {
                _putEntry(data, padded / 4, eventDelta);
            }
            data.insert(data.end(), record.begin(), record.end());
            data.resize(data.size() + (padded - record.size()), 0);
            current = event.time;
            if (discard) {
                // A discarded event: padding with a non-zero delta and the length of what it covers.
                _putEntry(data, TYPE_PADDING, 1);
                putU32(data, 12);
                putU64(data, 0);
                current += 1;
            }
            ++next;
            ++onPage;
            ++eventIndex;
        }
        if (onPage == 0)
            throw std::invalid_argument("an event does not fit into a page");
        if (layout.padPageEnd && room - data.size() >= 8) {
            const unsigned rest = room - static_cast<unsigned>(data.size());
            _putEntry(data, TYPE_PADDING, 0);
            putU32(data, rest - 4);
            data.resize(room, 0);
        }
        std::uint64_t commit = data.size();
        if (missed != 0) {
            if (missed > 0) {
                putNumber(data, static_cast<std::uint64_t>(missed), longSize);
                commit += 1ULL << 30;
            }
            // The kernel adds (1 << 31) as an int: sign-extended into a 64-bit commit word.
            commit += longSize == 8 ? 0xFFFFFFFF80000000ULL : 0x80000000ULL;
        }
        Bytes page;
        putU64(page, pageTime);
        putNumber(page, commit, longSize);
        page.insert(page.end(), data.begin(), data.end());
        page.resize(pageSize, 0);
        out.insert(out.end(), page.begin(), page.end());
        ++pageIndex;
    }
    return out;
}

void TraceDatWriter::_putHeaders(Bytes& out) const {
    const std::string page = headerPage(longSize, pageSize);
    putText(out, "header_page");
    putU64(out, page.size());
    putText(out, page, false);
    putText(out, "header_event");
    putU64(out, sizeof(HEADER_EVENT) - 1);
    putText(out, HEADER_EVENT, false);
}

void TraceDatWriter::_putFormats(Bytes& out, bool ftraceOnes) const {
    // ftrace formats, or the systems in the order their first event was added.
    std::vector<std::string> systems;
    for (const EventShape* shape : shapes) {
        if (shape->system != "ftrace" && std::find(systems.begin(), systems.end(), shape->system) == systems.end())
            systems.push_back(shape->system);
    }
    auto putMembers = [&](const std::string& system) {
        std::vector<const EventShape*> members;
        for (const EventShape* shape : shapes) {
            if (shape->system == system)
                members.push_back(shape);
        }
        putU32(out, static_cast<std::uint32_t>(members.size()));
        for (const EventShape* shape : members) {
            const std::string text = shape->formatText();
            putU64(out, text.size());
            putText(out, text, false);
        }
    };
    if (ftraceOnes) {
        putMembers("ftrace");
        return;
    }
    putU32(out, static_cast<std::uint32_t>(systems.size()));
    for (const std::string& system : systems) {
        putText(out, system);
        putMembers(system);
    }
}

void TraceDatWriter::_putCommandLines(Bytes& out) const {
    std::string lines;
    for (const auto& line : commandLines)
        lines += std::to_string(line.first) + " " + line.second + "\n";
    putU64(out, lines.size());
    putText(out, lines, false);
}

unsigned TraceDatWriter::_cpuCount() const {
    unsigned cpus = cpuCount;
    for (const Event& event : events)
        cpus = std::max(cpus, event.cpu + 1);
    return cpus;
}

Bytes TraceDatWriter::build() const {
    Bytes out = {0x17, 0x08, 0x44};
    putText(out, "tracing", false);
    putText(out, "6");
    out.push_back(bigEndian ? 1 : 0);
    out.push_back(static_cast<std::uint8_t>(longSize));
    putU32(out, pageSize);
    _putHeaders(out);
    _putFormats(out, true);
    _putFormats(out, false);
    putU32(out, 0); // kallsyms
    putU32(out, 0); // printk formats
    _putCommandLines(out);

    const unsigned cpus = _cpuCount();
    putU32(out, cpus);
    std::vector<std::pair<std::uint16_t, Bytes>> all = options;
    if (!traceClock.empty())
        all.emplace_back(4, Bytes());
    if (!all.empty()) {
        putText(out, "options  ");
        for (const auto& option : all) {
            putU16(out, option.first);
            putU32(out, static_cast<std::uint32_t>(option.second.size()));
            out.insert(out.end(), option.second.begin(), option.second.end());
        }
        putU16(out, 0);
    }
    putText(out, "flyrecord");
    const std::size_t table = out.size();
    out.resize(out.size() + 16 * cpus, 0);
    if (!traceClock.empty()) {
        // With a TRACECLOCK option the trace_clock file's text follows the table.
        putU64(out, traceClock.size());
        putText(out, traceClock, false);
    }
    for (unsigned cpu = 0; cpu < cpus; ++cpu) {
        const Bytes pages = _cpuPages(cpu);
        out.resize((out.size() + pageSize - 1) / pageSize * pageSize, 0);
        Bytes entry;
        putU64(entry, out.size());
        putU64(entry, pages.size());
        std::copy(entry.begin(), entry.end(), out.begin() + table + 16 * cpu);
        out.insert(out.end(), pages.begin(), pages.end());
    }
    return out;
}

Bytes TraceDatWriter::buildVersion7(const std::string& compression, unsigned pagesPerChunk) const {
    const bool compress = compression != "none";
    // Section descriptions, kept in a strings section and referred to by their offset in it.
    std::string strings;
    auto stringId = [&](const std::string& text) {
        const std::uint32_t id = static_cast<std::uint32_t>(strings.size());
        strings += text;
        strings.push_back('\0');
        return id;
    };
    auto squeeze = [&](const Bytes& data) {
        Bytes packed(ZSTD_compressBound(data.size()));
        const std::size_t size = ZSTD_compress(packed.data(), packed.size(), data.data(), data.size(), 3);
        if (ZSTD_isError(size))
            throw std::runtime_error("zstd failed");
        packed.resize(size);
        return packed;
    };
    Bytes out = {0x17, 0x08, 0x44};
    putText(out, "tracing", false);
    putText(out, "7");
    out.push_back(bigEndian ? 1 : 0);
    out.push_back(static_cast<std::uint8_t>(longSize));
    putU32(out, pageSize);
    putText(out, compression);
    putText(out, compress ? "1.5.4" : "");
    const std::size_t firstOptions = out.size();
    putU64(out, 0);
    auto section = [&](std::uint16_t id, const std::string& name, const Bytes& content) {
        const std::uint64_t at = out.size();
        putU16(out, id);
        putU16(out, compress ? 1 : 0);
        putU32(out, stringId(name));
        if (compress) {
            const Bytes packed = squeeze(content);
            putU64(out, 8 + packed.size());
            putU32(out, static_cast<std::uint32_t>(packed.size()));
            putU32(out, static_cast<std::uint32_t>(content.size()));
            out.insert(out.end(), packed.begin(), packed.end());
        } else {
            putU64(out, content.size());
            out.insert(out.end(), content.begin(), content.end());
        }
        return at;
    };
    Bytes part;
    std::vector<std::pair<std::uint16_t, std::uint64_t>> sections;
    _putHeaders(part);
    sections.emplace_back(16, section(16, "headers", part));
    part.clear();
    _putFormats(part, true);
    sections.emplace_back(17, section(17, "ftrace events", part));
    part.clear();
    _putFormats(part, false);
    sections.emplace_back(18, section(18, "events format", part));
    part.clear();
    putU32(part, 0);
    sections.emplace_back(19, section(19, "kallsyms", part));
    sections.emplace_back(20, section(20, "printk", part));
    part.clear();
    _putCommandLines(part);
    sections.emplace_back(21, section(21, "command lines", part));

    // An options section is never compressed; it ends with DONE and the offset of the next one.
    auto options = [&](const std::vector<std::pair<std::uint16_t, Bytes>>& list) {
        Bytes content;
        for (const auto& option : list) {
            putU16(content, option.first);
            putU32(content, static_cast<std::uint32_t>(option.second.size()));
            content.insert(content.end(), option.second.begin(), option.second.end());
        }
        putU16(content, 0);
        putU32(content, 8);
        const std::size_t next = content.size();
        putU64(content, 0);
        const std::uint64_t at = out.size();
        putU16(out, 0);
        putU16(out, 0);
        putU32(out, stringId("options"));
        putU64(out, content.size());
        const std::size_t done = out.size() + next;
        out.insert(out.end(), content.begin(), content.end());
        return std::make_pair(at, done);
    };
    const unsigned cpus = _cpuCount();
    std::vector<std::pair<std::uint16_t, Bytes>> first = this->options;
    for (const auto& entry : sections) {
        Bytes offset;
        putU64(offset, entry.second);
        first.emplace_back(entry.first, offset);
    }
    Bytes count;
    putU32(count, cpus);
    first.emplace_back(8, count);
    const auto head = options(first);
    patchNumber(out, firstOptions, head.first);

    // The flyrecord section: its header, then the data of each CPU at a page boundary.
    const std::uint64_t flyrecord = out.size();
    putU16(out, 3);
    putU16(out, compress ? 1 : 0);
    putU32(out, stringId("buffer flyrecord "));
    const std::size_t flySize = out.size();
    putU64(out, 0);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> where;
    for (unsigned cpu = 0; cpu < cpus; ++cpu) {
        const Bytes pages = _cpuPages(cpu);
        out.resize((out.size() + pageSize - 1) / pageSize * pageSize, 0);
        const std::uint64_t at = out.size();
        if (compress && !pages.empty()) {
            const std::size_t chunk = static_cast<std::size_t>(pageSize) * pagesPerChunk;
            putU32(out, static_cast<std::uint32_t>((pages.size() + chunk - 1) / chunk));
            for (std::size_t start = 0; start < pages.size(); start += chunk) {
                const Bytes piece(pages.begin() + start, pages.begin() + std::min(pages.size(), start + chunk));
                const Bytes packed = squeeze(piece);
                putU32(out, static_cast<std::uint32_t>(packed.size()));
                putU32(out, static_cast<std::uint32_t>(piece.size()));
                out.insert(out.end(), packed.begin(), packed.end());
            }
            where.emplace_back(at, out.size() - at - 4); // the size leaves out the count of chunks
        } else {
            out.insert(out.end(), pages.begin(), pages.end());
            where.emplace_back(at, pages.size());
        }
    }
    patchNumber(out, flySize, out.size() - flySize - 8);

    Bytes buffer;
    putU64(buffer, flyrecord);
    putText(buffer, "");
    putText(buffer, "local");
    putU32(buffer, pageSize);
    putU32(buffer, cpus);
    for (unsigned cpu = 0; cpu < cpus; ++cpu) {
        putU32(buffer, cpu);
        putU64(buffer, where[cpu].first);
        putU64(buffer, where[cpu].second);
    }
    const auto last = options({{3, buffer}});
    patchNumber(out, head.second, last.first);
    const std::uint32_t stringsId = stringId("strings");
    Bytes text(strings.begin(), strings.end());
    putU16(out, 15);
    putU16(out, 0);
    putU32(out, stringsId);
    putU64(out, text.size());
    out.insert(out.end(), text.begin(), text.end());
    return out;
}

void TraceDatWriter::patchNumber(Bytes& out, std::size_t offset, std::uint64_t value) const {
    Bytes number;
    putU64(number, value);
    std::copy(number.begin(), number.end(), out.begin() + static_cast<std::ptrdiff_t>(offset));
}

bool TraceDatWriter::writeTo(const std::string& path, unsigned version) const {
    const Bytes bytes = version == 7 ? buildVersion7() : build();
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file);
}

std::vector<EventShape> standardEvents(unsigned longSize) {
    const std::string longType = "long";
    return {
        {"sched",
         "sched_switch",
         316,
         {{"char[16]", "prev_comm", 16, false},
          {"pid_t", "prev_pid", 4, true},
          {"int", "prev_prio", 4, true},
          {longType, "prev_state", longSize, true},
          {"char[16]", "next_comm", 16, false},
          {"pid_t", "next_pid", 4, true},
          {"int", "next_prio", 4, true}}},
        {"sched",
         "sched_wakeup",
         318,
         {{"char[16]", "comm", 16, false},
          {"pid_t", "pid", 4, true},
          {"int", "prio", 4, true},
          {"int", "target_cpu", 4, true}}},
        {"irq", "irq_handler_entry", 120, {{"int", "irq", 4, true}, {"u32", "handled", 4, false}}},
        {"irq", "softirq_entry", 118, {{"unsigned int", "vec", 4, false}}},
        {"power", "cpu_frequency", 400, {{"u32", "state", 4, false}, {"u32", "cpu_id", 4, false}}},
        {"kmem",
         "mm_page_alloc",
         420,
         {{"unsigned long", "pfn", longSize, false},
          {"unsigned int", "order", 4, false},
          {"u64", "bytes", 8, false},
          {"short", "node", 2, true},
          {"unsigned char", "flags", 1, false}}},
    };
}

} // namespace tracedatwriter
