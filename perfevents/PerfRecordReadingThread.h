#ifndef PERFEVENTS_PERFRECORDREADINGTHREAD_H
#define PERFEVENTS_PERFRECORDREADINGTHREAD_H

#include "perfevents/PerfRecordBlockPool.h"

#include <cstddef>
#include <functional>
#include <string>

namespace perfevents {

class PerfRecordPipeline;

/// The reading thread of a walk and what it hands to the thread that delivers the records: batches that carry
/// runs of record addresses (the records stay in the pool blocks they were read into), copies of records read
/// elsewhere (decompressed ones), the points where the decoders are to be rebuilt, and messages to log where the
/// delivery has got to.
///
/// It owns the rule of the blocks' lifetime: a block stays in use while it is pinned (by the framer reading into
/// it, by the order queue holding records in it) and, after that, until the delivering thread has finished every
/// batch that referred to it. The pool learns the delivering thread's progress from here, and only from here.
class PerfRecordReadingThread {
public:
    /// What the delivering thread does with what the batches carry.
    class Delivery {
    public:
        virtual ~Delivery() {}
        /// A whole record, header included; the bytes are valid during the call.
        virtual void deliverRecord(const unsigned char* record, unsigned int size) = 0;
        /// The attributes have changed: the decoders are to be built anew before the next record.
        virtual void rebuildDecoders() = 0;
        virtual void logError(const std::string& message) = 0;
    };

    explicit PerfRecordReadingThread(PerfRecordBlockPool& pool);
    PerfRecordReadingThread(const PerfRecordReadingThread&) = delete;
    PerfRecordReadingThread& operator=(const PerfRecordReadingThread&) = delete;

    /// Runs read on a thread of its own (on this one when threaded is false) and delivers what it emits on this
    /// thread, until read has ended and everything is delivered. Exceptions of either side come out here; the
    /// thread is gone when this returns.
    void run(const std::function<void()>& read, Delivery& delivery, bool threaded);
    /// Whether run is under way (the reading side may emit).
    bool isRunning() const { return pipeline != nullptr; }

    // ---- The reading side, while run is under way ----
    /// A record (header included) in the given pool block, or, with PerfRecordBlockPool::NO_BLOCK, one whose
    /// bytes are valid only during the call (they are copied).
    void emitRecord(const unsigned char* record, unsigned int size, unsigned int block);
    void emitRebuild();
    void emitError(const std::string& message);
    /// Waits until everything emitted so far is delivered, so that state the delivering thread reads (the
    /// attributes) may be changed.
    void drain();
    /// Whether the delivering thread has stopped, so that long work without emitting can end early.
    bool stopping() const;

private:
    void _deliverBatch(const unsigned char* data, std::size_t size);
    unsigned char* _item(unsigned int kind, std::size_t payload);

    PerfRecordBlockPool& pool;
    PerfRecordPipeline* pipeline;      // while run is under way
    Delivery* delivery;                // the same
    unsigned char* recordRun;          // the item of record addresses last begun in a batch, to be continued
    unsigned long long recordRunBatch; // the batch it lies in
};

} // namespace perfevents

#endif
