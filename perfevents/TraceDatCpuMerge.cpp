#include "perfevents/TraceDatCpuMerge.h"

#include <utility>

namespace perfevents {

TraceDatCpuMerge::TraceDatCpuMerge(std::vector<std::unique_ptr<TraceDatCpuStream>> streams)
    : streams(std::move(streams)) {}

bool TraceDatCpuMerge::_before(std::size_t a, std::size_t b) const {
    const std::uint64_t ta = streams[a]->getTime(), tb = streams[b]->getTime();
    return ta < tb || (ta == tb && a < b);
}

void TraceDatCpuMerge::_push(std::size_t index) {
    heap.push_back(index);
    std::size_t child = heap.size() - 1;
    while (child > 0) {
        const std::size_t parent = (child - 1) / 2;
        if (!_before(heap[child], heap[parent]))
            break;
        std::swap(heap[child], heap[parent]);
        child = parent;
    }
}

std::size_t TraceDatCpuMerge::_pop() {
    const std::size_t top = heap.front();
    heap.front() = heap.back();
    heap.pop_back();
    std::size_t parent = 0;
    for (;;) {
        const std::size_t left = 2 * parent + 1, right = left + 1;
        std::size_t first = parent;
        if (left < heap.size() && _before(heap[left], heap[first]))
            first = left;
        if (right < heap.size() && _before(heap[right], heap[first]))
            first = right;
        if (first == parent)
            break;
        std::swap(heap[first], heap[parent]);
        parent = first;
    }
    return top;
}

TraceDatCpuStream* TraceDatCpuMerge::next() {
    if (!started) {
        started = true;
        for (std::size_t i = 0; i < streams.size(); ++i) {
            if (streams[i]->advance())
                _push(i);
        }
    } else if (current != nullptr && current->advance()) {
        _push(currentIndex);
    }
    current = nullptr;
    if (heap.empty())
        return nullptr;
    currentIndex = _pop();
    current = streams[currentIndex].get();
    return current;
}

} // namespace perfevents
