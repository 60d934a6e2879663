#include "kestrel/ByteBuffer.h"

#include <cstring>

namespace kestrel {

ByteBuffer::ByteBuffer() {}

ByteBuffer::ByteBuffer(const unsigned char* source, unsigned int capacity, unsigned int size) {
    initialize(source, capacity, size < capacity ? size : capacity);
}

ByteBuffer::ByteBuffer(const ByteBuffer& other) : ByteBufferViewport() {
    initialize(static_cast<const unsigned char*>(other._data), other._capacity, other._size);
}

ByteBuffer::ByteBuffer(const ByteBufferViewport& other) : ByteBufferViewport() {
    initialize(other.data(), other.capacity(), other.size());
}

ByteBuffer& ByteBuffer::operator=(const ByteBufferViewport& other) {
    if (this != &other)
        initialize(other.data(), other.capacity(), other.size());
    return *this;
}

ByteBuffer& ByteBuffer::operator=(const ByteBuffer& other) {
    if (this != &other)
        initialize(static_cast<const unsigned char*>(other._data), other._capacity, other._size);
    return *this;
}

ByteBuffer::~ByteBuffer() {
    delete[] _data;
}

void ByteBuffer::initialize(unsigned char* source, unsigned int capacity, unsigned int size) {
    initialize(static_cast<const unsigned char*>(source), capacity, size);
}

void ByteBuffer::initialize(const unsigned char* source, unsigned int capacity, unsigned int size) {
    if (source != nullptr && _data != nullptr && source >= _data && source < _data + _capacity) {
        // The source lies in our own array, which the resize may release: copy it out first.
        unsigned int available = static_cast<unsigned int>(_data + _capacity - source);
        ByteBuffer copy(source, available, size < available ? size : available);
        initialize(static_cast<const unsigned char*>(copy._data), capacity, size < available ? size : available);
        return;
    }
    // Clamped here as the viewport does: with an unchanged capacity the resize below does nothing, and the copy
    // must still stay inside the array.
    _size = size < capacity ? size : capacity;
    resizeCapacity(capacity, false);
    if (_size > 0 && source != nullptr)
        std::memcpy(_data, source, _size);
}

void ByteBuffer::size(unsigned int n) {
    size(n, false);
}

void ByteBuffer::size(unsigned int n, bool preserve) {
    if (_capacity < n)
        resizeCapacity(n, preserve);
    _size = n;
}

void ByteBuffer::capacity(unsigned int n) {
    capacity(n, false);
}

void ByteBuffer::capacity(unsigned int n, bool preserve) {
    resizeCapacity(n, preserve);
}

void ByteBuffer::resizeCapacity(unsigned int n, bool preserve) {
    if (n == _capacity)
        return;
    unsigned char* fresh = new unsigned char[n]();
    if (preserve && _data != nullptr) {
        unsigned int keep = _size < n ? _size : n;
        if (keep > 0)
            std::memcpy(fresh, _data, keep);
    }
    delete[] _data;
    _data = fresh;
    _capacity = n;
    if (n < _size)
        _size = n;
}

} // namespace kestrel
