#ifndef APP_PROCESSDICTIONARY_H
#define APP_PROCESSDICTIONARY_H

#include "app/SeriesData.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

// Names of the threads and processes of a recording, published as the "common_tid" and "common_pid" dictionaries of
// the output document. A thread is named by its last comm record; a thread made by fork or clone takes its parent's
// name at the fork, until a comm record of its own names it.
class ProcessDictionary : public SeriesData {
public:
    struct ThreadInfo {
        int32_t pid;
        int32_t tid;
        std::string name;
        bool named = false; // by a comm record, not only inherited at a fork
    };

    ProcessDictionary();
    ~ProcessDictionary() override;

    // The thread recorded under tid, or null.
    const ThreadInfo* findThread(int32_t tid) const;
    // Records a thread; an existing entry for tid is replaced.
    void addThread(int32_t pid, int32_t tid, const std::string& name);
    // Renames a recorded thread, keeping its pid; returns false when tid is unknown.
    bool setThreadName(int32_t tid, const std::string& name);
    // A thread made by fork or clone: it takes its parent thread's name, unless a comm record has named it already.
    void forkThread(int32_t pid, int32_t tid, int32_t parentTid);
    // The thread's name, or null when tid is unknown.
    const std::string* getThreadName(int32_t tid) const;

    size_t size() const { return threads.size(); }
    void clear() { threads.clear(); }

    // Writes the unscoped dictionaries (thread names) and their scoped copies; nothing without threads.
    bool print(kestrel::JsomWriter& writer, double clockOrigin) override;

private:
    std::map<int32_t, ThreadInfo> threads;
};

#endif
