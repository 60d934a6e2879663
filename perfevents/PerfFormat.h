#ifndef PERFEVENTS_PERFFORMAT_H
#define PERFEVENTS_PERFFORMAT_H

#include <cstddef>
#include <cstdio>
#include <string>

namespace perfevents {

/// What perf's recording format defines, in one place: record types, the layouts of the file header, its
/// sections and tables, the magic, the feature bits, and the bits and sizes of event attributes. Every part of
/// the reader and of the event database generator takes these values from here.
struct PerfFormat {
    // ---- Records -------------------------------------------------------------------------------------------------
    /// Every record starts with a header: u32 type, u16 misc, u16 size of the whole record (header included).
    static constexpr unsigned int RECORD_HEADER_SIZE = 8;
    static constexpr unsigned int RECORD_TYPE_OFFSET = 0;
    static constexpr unsigned int RECORD_MISC_OFFSET = 4;
    static constexpr unsigned int RECORD_SIZE_OFFSET = 6;
    /// The largest record a u16 size can state.
    static constexpr unsigned int MAX_RECORD_SIZE = 65535;

    // Records the kernel writes into the ring buffers (PERF_RECORD_*).
    static constexpr unsigned int RECORD_MMAP = 1;
    static constexpr unsigned int RECORD_LOST = 2;
    static constexpr unsigned int RECORD_COMM = 3;
    static constexpr unsigned int RECORD_EXIT = 4;
    static constexpr unsigned int RECORD_THROTTLE = 5;
    static constexpr unsigned int RECORD_UNTHROTTLE = 6;
    static constexpr unsigned int RECORD_FORK = 7;
    static constexpr unsigned int RECORD_READ = 8;
    static constexpr unsigned int RECORD_SAMPLE = 9;
    /// The last kernel record type that perf 6 names (AUX_OUTPUT_HW_ID); later ones are counted as unknown.
    static constexpr unsigned int LAST_NAMED_KERNEL_RECORD = 21;
    /// Kernel records use types below this; perf's own records start here.
    static constexpr unsigned int FIRST_USER_RECORD = 64;

    // Records perf itself writes into the data section (or, in a pipe, before it).
    static constexpr unsigned int RECORD_HEADER_ATTR = 64;
    static constexpr unsigned int RECORD_HEADER_EVENT_TYPE = 65;
    static constexpr unsigned int RECORD_HEADER_TRACING_DATA = 66;
    static constexpr unsigned int RECORD_HEADER_BUILD_ID = 67;
    static constexpr unsigned int RECORD_FINISHED_ROUND = 68;
    static constexpr unsigned int RECORD_ID_INDEX = 69;
    static constexpr unsigned int RECORD_AUXTRACE_INFO = 70;
    static constexpr unsigned int RECORD_AUXTRACE = 71;
    static constexpr unsigned int RECORD_HEADER_FEATURE = 80;
    static constexpr unsigned int RECORD_COMPRESSED = 81;
    static constexpr unsigned int RECORD_FINISHED_INIT = 82;
    static constexpr unsigned int RECORD_COMPRESSED2 = 83;
    /// The last record type perf knows; types beyond it are skipped and counted.
    static constexpr unsigned int LAST_KNOWN_RECORD = 84;
    /// Android's recorder writes records of its own types from here on (build ids, unwinding data): skipped by
    /// their size without a word, as they hold nothing to plot.
    static constexpr unsigned int FIRST_ANDROID_RECORD = 32768;
    /// Whether a record of this type is neither perf's nor Android's.
    static constexpr bool isUnknownRecord(unsigned int type) {
        return type > LAST_KNOWN_RECORD && type < FIRST_ANDROID_RECORD;
    }

    /// Whether a record of this type is kernel data: a record that the set-up of a pipe ends before.
    static constexpr bool isKernelRecord(unsigned int type) { return type < FIRST_USER_RECORD; }
    /// Whether a record belongs to the data rather than to the set-up that a pipe sends before it.
    static constexpr bool beginsData(unsigned int type) {
        return isKernelRecord(type) || type == RECORD_FINISHED_ROUND || type == RECORD_AUXTRACE ||
               type == RECORD_COMPRESSED || type == RECORD_COMPRESSED2;
    }

    /// AUXTRACE: header, then u64 size of the trace data that follows the record outside its size.
    static constexpr unsigned int AUXTRACE_SIZE_OFFSET = 8;
    /// HEADER_TRACING_DATA: header, then u32 size of the tracing data. In a pipe the record is 16 bytes and the
    /// data follows it, padded to 8 bytes; Android's recorder puts the data inside the record instead.
    static constexpr unsigned int TRACING_DATA_SIZE_OFFSET = 8;
    static constexpr unsigned int TRACING_DATA_OFFSET = 12;
    static constexpr unsigned int PAYLOAD_ALIGNMENT = 8;
    /// HEADER_FEATURE: header, then u64 feature id, then the feature's data.
    static constexpr unsigned int FEATURE_RECORD_ID_OFFSET = 8;
    /// COMPRESSED2: header, then u64 size of the compressed data, the data, then padding.
    static constexpr unsigned int COMPRESSED2_DATA_OFFSET = 16;

    // ---- The file header -----------------------------------------------------------------------------------------
    /// A section of the file: where it starts and how many bytes it has.
    struct FileSection {
        unsigned long long offset;
        unsigned long long size;
    };
    /// The header of a recording written to a file, as read (a pipe's has only the magic and the size).
    struct FileHeader {
        char magic[8];
        unsigned long long size;
        unsigned long long attrSize;
        FileSection attrs;
        FileSection data;
        FileSection eventTypes;
        unsigned long long addsFeatures[4];
    };

    static constexpr std::size_t MAGIC_SIZE = 8;
    /// The magic as a little-endian writer stores it; a big-endian writer stores it reversed. Version 1 files
    /// had the same layout under their own magic.
    static constexpr const char* MAGIC = "PERFILE2";
    static constexpr const char* MAGIC_SWAPPED = "2ELIFREP";
    static constexpr const char* MAGIC_V1 = "PERFFILE";
    static constexpr const char* MAGIC_V1_SWAPPED = "ELIFFREP";

    /// A file written to a file: magic, u64 header size (104), u64 attr_size, then three sections (attributes,
    /// data, event types) and the 256-bit feature bitmap.
    static constexpr unsigned int FILE_HEADER_SIZE = 104;
    /// A recording written to a pipe: magic and u64 header size (16); its set-up comes as records.
    static constexpr unsigned int PIPE_HEADER_SIZE = 16;
    static constexpr unsigned int HEADER_SIZE_OFFSET = 8;
    static constexpr unsigned int HEADER_ATTR_SIZE_OFFSET = 16;
    static constexpr unsigned int HEADER_ATTRS_OFFSET = 24;
    static constexpr unsigned int HEADER_DATA_OFFSET = 40;
    static constexpr unsigned int HEADER_EVENT_TYPES_OFFSET = 56;
    static constexpr unsigned int HEADER_FEATURES_OFFSET = 72;
    static constexpr unsigned int FEATURE_WORDS = 4;
    /// A section is u64 offset, u64 size.
    static constexpr unsigned int SECTION_SIZE = 16;
    /// The table of feature sections stands right after the data section, one section per set feature bit in
    /// ascending bit order.
    static constexpr unsigned int FEATURE_TRACING_DATA = 1;
    static constexpr unsigned int FEATURE_COMPRESSED = 27;
    /// HEADER_COMPRESSED's data: u32 version, u32 type (1: zstd), ...
    static constexpr unsigned int COMPRESSION_TYPE_OFFSET = 4;
    static constexpr unsigned int COMPRESSION_ZSTD = 1;

    /// An attribute entry is the perf_event_attr followed by the section of its stream ids; attr_size counts both.
    static constexpr unsigned long long MIN_ATTR_ENTRY_SIZE = 80;
    static constexpr unsigned long long MAX_ATTR_ENTRY_SIZE = 65552;
    /// An event type entry: u64 id, then a 64-byte name.
    static constexpr unsigned int EVENT_TYPE_SIZE = 72;
    static constexpr unsigned int EVENT_NAME_OFFSET = 8;
    static constexpr unsigned int EVENT_NAME_SIZE = 64;
    /// Files shorter than this cannot hold a header and a record.
    static constexpr long long MINIMUM_FILE_SIZE = 200;

    // ---- Event attributes (perf_event_attr) ----------------------------------------------------------------------
    /// Sizes of the published versions 0 to 3.
    static constexpr unsigned int ATTR_SIZE_VER0 = 64;
    static constexpr unsigned int ATTR_SIZE_VER1 = 72;
    static constexpr unsigned int ATTR_SIZE_VER2 = 80;
    static constexpr unsigned int ATTR_SIZE_VER3 = 96;
    /// Offset of the attribute's own size field.
    static constexpr unsigned int ATTR_SIZE_FIELD_OFFSET = 4;

    /// The kinds of event (the attribute's type) and the names perf gives the generic ones.
    static constexpr unsigned int ATTR_TYPE_HARDWARE = 0;
    static constexpr unsigned int ATTR_TYPE_SOFTWARE = 1;
    static constexpr unsigned int ATTR_TYPE_TRACEPOINT = 2;
    static constexpr unsigned int ATTR_TYPE_HW_CACHE = 3;
    static constexpr unsigned int ATTR_TYPE_RAW = 4;
    static constexpr unsigned int ATTR_TYPE_BREAKPOINT = 5;
    /// A name for the event of an attribute as perf names it ("cpu-clock", "cycles"), or its type and config
    /// where perf has no fixed name ("raw event 0x1a", "event of type 8, config 3").
    static std::string eventName(unsigned int type, unsigned long long config) {
        static const char* const hardware[] = {
            "cycles",        "instructions", "cache-references",        "cache-misses",           "branch-instructions",
            "branch-misses", "bus-cycles",   "stalled-cycles-frontend", "stalled-cycles-backend", "ref-cycles"};
        static const char* const software[] = {"cpu-clock",        "task-clock",   "page-faults",  "context-switches",
                                               "cpu-migrations",   "minor-faults", "major-faults", "alignment-faults",
                                               "emulation-faults", "dummy",        "bpf-output",   "cgroup-switches"};
        if (type == ATTR_TYPE_HARDWARE && config < sizeof(hardware) / sizeof(hardware[0]))
            return hardware[config];
        if (type == ATTR_TYPE_SOFTWARE && config < sizeof(software) / sizeof(software[0]))
            return software[config];
        char text[64];
        if (type == ATTR_TYPE_TRACEPOINT)
            std::snprintf(text, sizeof(text), "trace point %llu", config);
        else if (type == ATTR_TYPE_RAW)
            std::snprintf(text, sizeof(text), "raw event 0x%llx", config);
        else
            std::snprintf(text, sizeof(text), "event of type %u, config %llu", type, config);
        return text;
    }

    // sample_type bits, in the order their fields appear in a sample (except IDENTIFIER, which comes first)
    static constexpr unsigned long long SAMPLE_IP = 0x1ULL;
    static constexpr unsigned long long SAMPLE_TID = 0x2ULL;
    static constexpr unsigned long long SAMPLE_TIME = 0x4ULL;
    static constexpr unsigned long long SAMPLE_ADDR = 0x8ULL;
    static constexpr unsigned long long SAMPLE_READ = 0x10ULL;
    static constexpr unsigned long long SAMPLE_CALLCHAIN = 0x20ULL;
    static constexpr unsigned long long SAMPLE_ID = 0x40ULL;
    static constexpr unsigned long long SAMPLE_CPU = 0x80ULL;
    static constexpr unsigned long long SAMPLE_PERIOD = 0x100ULL;
    static constexpr unsigned long long SAMPLE_STREAM_ID = 0x200ULL;
    static constexpr unsigned long long SAMPLE_RAW = 0x400ULL;
    static constexpr unsigned long long SAMPLE_BRANCH_STACK = 0x800ULL;
    static constexpr unsigned long long SAMPLE_REGS_USER = 0x1000ULL;
    static constexpr unsigned long long SAMPLE_STACK_USER = 0x2000ULL;
    static constexpr unsigned long long SAMPLE_WEIGHT = 0x4000ULL;
    static constexpr unsigned long long SAMPLE_DATA_SRC = 0x8000ULL;
    static constexpr unsigned long long SAMPLE_IDENTIFIER = 0x10000ULL;

    // read_format bits
    static constexpr unsigned long long FORMAT_TOTAL_TIME_ENABLED = 0x1ULL;
    static constexpr unsigned long long FORMAT_TOTAL_TIME_RUNNING = 0x2ULL;
    static constexpr unsigned long long FORMAT_ID = 0x4ULL;
    static constexpr unsigned long long FORMAT_GROUP = 0x8ULL;
    static constexpr unsigned long long FORMAT_LOST = 0x10ULL;
};

} // namespace perfevents

#endif
