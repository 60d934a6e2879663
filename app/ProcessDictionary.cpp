#include "app/ProcessDictionary.h"

#include "kestrel/JsomWriter.h"

#include <cstdio>

ProcessDictionary::ProcessDictionary() {}

ProcessDictionary::~ProcessDictionary() {}

const ProcessDictionary::ThreadInfo* ProcessDictionary::findThread(int32_t tid) const {
    auto it = threads.find(tid);
    return it == threads.end() ? nullptr : &it->second;
}

void ProcessDictionary::addThread(int32_t pid, int32_t tid, const std::string& name) {
    ThreadInfo& info = threads[tid];
    info.pid = pid;
    info.tid = tid;
    info.name = name;
    info.named = true;
}

bool ProcessDictionary::setThreadName(int32_t tid, const std::string& name) {
    auto it = threads.find(tid);
    if (it == threads.end()) {
        return false;
    }
    it->second.name = name;
    it->second.named = true;
    return true;
}

void ProcessDictionary::forkThread(int32_t pid, int32_t tid, int32_t parentTid) {
    auto parent = threads.find(parentTid);
    auto child = threads.find(tid);
    if (parent == threads.end() || tid == parentTid || (child != threads.end() && child->second.named)) {
        return;
    }
    ThreadInfo& info = threads[tid];
    info.pid = pid;
    info.tid = tid;
    info.name = parent->second.name;
    info.named = false;
}

const std::string* ProcessDictionary::getThreadName(int32_t tid) const {
    auto it = threads.find(tid);
    return it == threads.end() ? nullptr : &it->second.name;
}

namespace {

void writeString(kestrel::JsomWriter& writer, const char* label, const std::string& value) {
    writer.appendLabel(label, true);
    writer.appendString(value, false);
}

// "extends": {["scope": scope,] "dictionary": "common_tid"}
void writeExtends(kestrel::JsomWriter& writer, const char* scope) {
    writer.appendLabel("extends", true);
    writer.startObject();
    if (scope != nullptr) {
        writeString(writer, "scope", scope);
    }
    writeString(writer, "dictionary", "common_tid");
    writer.endObject();
}

// A map dictionary without entries of its own that extends "common_tid".
void writeExtendingMap(kestrel::JsomWriter& writer, const char* name, const char* scope) {
    writer.appendLabel(name, true);
    writer.startObject();
    writeString(writer, "type", "map");
    writeExtends(writer, scope);
    writer.appendLabel("map", true);
    writer.startObject();
    writer.endObject();
    writer.endObject();
}

} // namespace

bool ProcessDictionary::print(kestrel::JsomWriter& writer, double /*clockOrigin*/) {
    if (threads.empty()) {
        return false;
    }

    writer.startObject();
    writeString(writer, "type", "dictionaries");
    writer.appendLabel("dictionaries", true);
    writer.startObject();
    writer.appendLabel("common_tid", true);
    writer.startObject();
    writeString(writer, "type", "map");
    writer.appendLabel("map", true);
    writer.startObject();
    char label[16];
    for (const auto& entry : threads) {
        const ThreadInfo& info = entry.second;
        snprintf(label, sizeof(label), "%d", entry.first);
        writer.appendLabel(label, true);
        writer.startObject();
        if (info.pid != info.tid) {
            writer.appendLabel("pid", true);
            writer.appendLong(info.pid);
        }
        writeString(writer, "label", info.name);
        writer.endObject();
    }
    writer.endObject(); // map
    writer.endObject(); // common_tid
    writeExtendingMap(writer, "common_pid", nullptr);
    writer.endObject(); // dictionaries
    writer.endObject();

    writer.startObject();
    writeString(writer, "type", "dictionaries");
    writeString(writer, "scope", "plotwright");
    writer.appendLabel("dictionaries", true);
    writer.startObject();
    writeExtendingMap(writer, "common_tid", nullptr);
    writeExtendingMap(writer, "common_pid", "plotwright");
    writer.endObject(); // dictionaries
    writer.endObject();
    return true;
}
