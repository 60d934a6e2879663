#include "perfevents/PerfRecordReadingThread.h"

#include "kestrel/ByteCursor.h"
#include "perfevents/PerfFormat.h"
#include "perfevents/PerfRecordPipeline.h"

#include <algorithm>
#include <cstring>

namespace perfevents {

namespace {
// Each item of a batch: u32 kind, u32 size of the whole item, then its payload.
const unsigned int ITEM_RECORDS_AT = 1; // addresses of records in pool blocks
const unsigned int ITEM_RECORD = 2;     // a copy of a record
const unsigned int ITEM_REBUILD = 3;    // rebuild the decoders: the attributes have changed
const unsigned int ITEM_LOG_ERROR = 4;  // a message to log at error level
const std::size_t ITEM_HEADER_SIZE = 8;
const std::size_t ADDRESS_SIZE = sizeof(const unsigned char*);
const std::size_t PREFETCH_RECORDS = 4; // how far ahead the delivering thread asks for the bytes of a record
const std::size_t LARGEST_ITEM = ITEM_HEADER_SIZE + PerfFormat::MAX_RECORD_SIZE;
} // namespace

PerfRecordReadingThread::PerfRecordReadingThread(PerfRecordBlockPool& pool)
    : pool(pool), pipeline(nullptr), delivery(nullptr), recordRun(nullptr), recordRunBatch(0) {}

void PerfRecordReadingThread::run(const std::function<void()>& read, Delivery& target, bool threaded) {
    PerfRecordPipeline batches(PerfRecordPipeline::DEFAULT_BATCH_SIZE, PerfRecordPipeline::DEFAULT_BATCHES,
                               LARGEST_ITEM);
    pipeline = &batches;
    delivery = &target;
    recordRun = nullptr;
    pool.followBatches(&batches.getFinishedCount());
    struct Detach {
        PerfRecordReadingThread& self;
        ~Detach() {
            self.pipeline = nullptr;
            self.delivery = nullptr;
            self.pool.followBatches(nullptr); // the batches are done, or will never be
        }
    } detach{*this};
    batches.run(
        read, [this](const unsigned char* batch, std::size_t size) { _deliverBatch(batch, size); }, threaded);
}

unsigned char* PerfRecordReadingThread::_item(unsigned int kind, std::size_t payload) {
    recordRun = nullptr;
    const unsigned int size = static_cast<unsigned int>(ITEM_HEADER_SIZE + payload);
    unsigned char* item = pipeline->append(size);
    std::memcpy(item, &kind, 4);
    std::memcpy(item + 4, &size, 4);
    return item + ITEM_HEADER_SIZE;
}

void PerfRecordReadingThread::emitRecord(const unsigned char* record, unsigned int size, unsigned int block) {
    if (block == PerfRecordBlockPool::NO_BLOCK) {
        std::memcpy(_item(ITEM_RECORD, size), record, size);
        return;
    }
    // Its address instead of its bytes, added to the run of addresses at the end of the batch where there is one:
    // the block stays as it is until the batch is done.
    if (recordRun != nullptr && recordRunBatch == pipeline->getFillingNumber() && pipeline->hasRoom(ADDRESS_SIZE)) {
        std::memcpy(pipeline->append(ADDRESS_SIZE), &record, ADDRESS_SIZE);
        unsigned int runSize = 0;
        std::memcpy(&runSize, recordRun + 4, 4);
        runSize += ADDRESS_SIZE;
        std::memcpy(recordRun + 4, &runSize, 4);
    } else {
        unsigned char* addresses = _item(ITEM_RECORDS_AT, ADDRESS_SIZE);
        std::memcpy(addresses, &record, ADDRESS_SIZE);
        recordRun = addresses - ITEM_HEADER_SIZE;
        recordRunBatch = pipeline->getFillingNumber();
    }
    pool.referTo(block, recordRunBatch);
}

void PerfRecordReadingThread::emitRebuild() {
    _item(ITEM_REBUILD, 0);
}

void PerfRecordReadingThread::emitError(const std::string& message) {
    const std::size_t length = std::min(message.size(), PerfRecordPipeline::DEFAULT_BATCH_SIZE - ITEM_HEADER_SIZE);
    std::memcpy(_item(ITEM_LOG_ERROR, length), message.data(), length);
}

void PerfRecordReadingThread::drain() {
    recordRun = nullptr;
    pipeline->drain();
}

bool PerfRecordReadingThread::stopping() const {
    return pipeline != nullptr && pipeline->stopping();
}

void PerfRecordReadingThread::_deliverBatch(const unsigned char* data, std::size_t size) {
    kestrel::ByteCursor items(data, size);
    unsigned int kind = 0, itemSize = 0;
    while (items.read(kind) && items.read(itemSize)) {
        kestrel::ByteCursor payload;
        if (itemSize < ITEM_HEADER_SIZE || !items.take(itemSize - ITEM_HEADER_SIZE, payload))
            break;
        if (kind == ITEM_RECORDS_AT) {
            const std::size_t count = payload.remaining() / ADDRESS_SIZE;
            const unsigned char* addresses = payload.here();
            for (std::size_t i = 0; i < count; ++i) {
                const unsigned char* record = nullptr;
                std::memcpy(&record, addresses + i * ADDRESS_SIZE, ADDRESS_SIZE);
                // The reading thread wrote the records on another processor: ask for one a few records ahead
                // while this one is decoded, so that its bytes are here when its turn comes.
                if (i + PREFETCH_RECORDS < count) {
                    const unsigned char* later = nullptr;
                    std::memcpy(&later, addresses + (i + PREFETCH_RECORDS) * ADDRESS_SIZE, ADDRESS_SIZE);
                    __builtin_prefetch(later);
                    __builtin_prefetch(later + 64);
                }
                unsigned short recordSize = 0;
                std::memcpy(&recordSize, record + PerfFormat::RECORD_SIZE_OFFSET, sizeof(recordSize));
                delivery->deliverRecord(record, recordSize);
            }
        } else if (kind == ITEM_RECORD) {
            delivery->deliverRecord(payload.here(), static_cast<unsigned int>(payload.remaining()));
        } else if (kind == ITEM_REBUILD) {
            delivery->rebuildDecoders();
        } else if (kind == ITEM_LOG_ERROR) {
            delivery->logError(std::string(reinterpret_cast<const char*>(payload.here()), payload.remaining()));
        }
    }
}

} // namespace perfevents
