#include "eventdb/EventSourceLoader.h"

#include "eventdb/TraceFormatParser.h"
#include "eventdb/TracingDataParser.h"
#include "perfevents/PerfRecordingSetup.h"
#include "perfevents/TraceDatFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <vector>

namespace fs = std::filesystem;

namespace eventdb {

namespace {

std::runtime_error sourceError(const std::string& path, const std::string& problem) {
    return std::runtime_error(path + ": " + problem);
}

} // namespace

EventSourceLoader::EventSourceLoader(EventDatabaseBuilder& builder) : builder(builder) {}

void EventSourceLoader::load(const std::string& path) {
    if (path == "-") {
        _loadStream(path, std::cin);
        return;
    }
    std::error_code error;
    fs::file_status status = fs::status(path, error);
    if (error) {
        throw sourceError(path, error.message());
    }
    if (fs::is_directory(status)) {
        _loadDirectory(path);
    } else {
        _loadFile(path);
    }
}

void EventSourceLoader::_loadFile(const std::string& path) {
    std::ifstream in(path, std::ios::in | std::ios::binary);
    if (!in.is_open()) {
        throw sourceError(path, std::string("cannot open: ") + std::strerror(errno));
    }
    _loadStream(path, in);
}

void EventSourceLoader::_loadStream(const std::string& path, std::istream& in) {
    // tracefs files report a size of 0, so the file is read until its end rather than by its stated size.
    std::string head(12, '\0');
    in.read(&head[0], static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    if (perfevents::PerfRecordingSetup::isPerfFile(head.data(), head.size())) {
        _loadPerfFile(path, in, head);
        return;
    }
    if (perfevents::TraceDatFile::isTraceDat(reinterpret_cast<const unsigned char*>(head.data()), head.size())) {
        _loadTraceDat(path, in);
        return;
    }
    if (in.bad()) {
        throw sourceError(path, "read error");
    }
    std::string text = head;
    std::vector<char> chunk(65536);
    while (in) {
        in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        text.append(chunk.data(), static_cast<size_t>(in.gcount()));
        if (text.size() > MAX_FORMAT_TEXT_SIZE) {
            throw sourceError(path,
                              "neither a perf.data file, a trace.dat file nor a trace point format text (too large)");
        }
    }
    if (in.bad()) {
        throw sourceError(path, "read error");
    }
    if (!TraceFormatParser::isFormatText(text.data(), text.size())) {
        throw sourceError(path, "neither a perf.data file, a trace.dat file nor a trace point format text");
    }
    _loadFormatText(path, text);
}

void EventSourceLoader::_loadPerfFile(const std::string& path, std::istream& in, const std::string& head) {
    std::vector<TraceEventFormat> formats;
    try {
        // The same set-up stage as the converter's, for the formats only: of either byte order, and wherever the
        // recording keeps them.
        perfevents::PerfRecordingSetup setup(in, perfevents::PerfRecordingSetup::SCOPE_FORMATS, nullptr, head.data(),
                                             head.size());
        const std::vector<unsigned char>& section = setup.getTracingData();
        formats = TracingDataParser(section.data(), section.size()).parse();
    } catch (const std::runtime_error& e) {
        throw sourceError(path, e.what());
    }
    if (formats.empty()) {
        throw sourceError(path, "the tracing data section describes no trace points");
    }
    for (const TraceEventFormat& format : formats) {
        builder.addEvent(format, path);
    }
}

void EventSourceLoader::_loadTraceDat(const std::string& path, std::istream& in) {
    // A trace.dat keeps its sections where its offsets say: it is read by seeking, which a pipe cannot do.
    if (path == "-") {
        throw sourceError(path, "a trace.dat file cannot be read from standard input: give its name instead");
    }
    std::vector<TraceEventFormat> formats;
    try {
        const std::vector<unsigned char> tracingData = perfevents::TraceDatFile(in).getTracingData();
        formats = TracingDataParser(tracingData.data(), tracingData.size()).parse();
    } catch (const std::runtime_error& e) {
        throw sourceError(path, std::string("trace.dat: ") + e.what());
    }
    if (formats.empty()) {
        throw sourceError(path, "the trace.dat file describes no trace points");
    }
    for (const TraceEventFormat& format : formats) {
        builder.addEvent(format, path);
    }
}

void EventSourceLoader::_loadFormatText(const std::string& path, const std::string& text) {
    TraceEventFormat format;
    try {
        format = TraceFormatParser::parse(text.data(), text.size());
    } catch (const std::runtime_error& e) {
        throw sourceError(path, e.what());
    }
    format.system = _systemFromPath(path, format.name);
    builder.addEvent(format, path);
}

std::string EventSourceLoader::_systemFromPath(const std::string& path, const std::string& eventName) const {
    // tracefs lays the formats out as <system>/<event>/format.
    std::error_code error;
    fs::path absolute = fs::absolute(path, error);
    if (!error) {
        fs::path eventDirectory = absolute.lexically_normal().parent_path();
        std::string system = eventDirectory.parent_path().filename().string();
        if (eventDirectory.filename() == eventName && TraceFormatParser::isValidName(system)) {
            return system;
        }
    }
    if (defaultSystem.empty()) {
        throw sourceError(path, "cannot tell the system of trace point " + eventName +
                                    " (the file does not lie in SYSTEM/" + eventName + "/); name it with -s SYSTEM");
    }
    return defaultSystem;
}

void EventSourceLoader::_loadDirectory(const std::string& path) {
    std::vector<std::string> formatFiles;
    std::error_code error;
    fs::recursive_directory_iterator it(path, error);
    for (; !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        std::error_code typeError;
        if (it->path().filename() == "format" && it->is_regular_file(typeError)) {
            formatFiles.push_back(it->path().string());
        }
    }
    if (error) {
        throw sourceError(path, "cannot search the directory: " + error.message());
    }
    if (formatFiles.empty()) {
        throw sourceError(path, "no files named format in the directory");
    }
    std::sort(formatFiles.begin(), formatFiles.end());
    for (const std::string& file : formatFiles) {
        _loadFile(file);
    }
}

} // namespace eventdb
