#include "kestrel/ByteBufferViewport.h"

#include <stdexcept>

namespace kestrel {

ByteBufferViewport::ByteBufferViewport() : _data(nullptr), _capacity(0), _size(0) {}

ByteBufferViewport::ByteBufferViewport(unsigned char* data, unsigned int capacity, unsigned int size)
    : _data(data), _capacity(capacity), _size(size < capacity ? size : capacity) {}

ByteBufferViewport::ByteBufferViewport(const ByteBufferViewport& other)
    : _data(other._data), _capacity(other._capacity), _size(other._size) {}

ByteBufferViewport& ByteBufferViewport::operator=(const ByteBufferViewport& other) {
    if (this != &other) {
        _data = other._data;
        _capacity = other._capacity;
        _size = other._size;
    }
    return *this;
}

ByteBufferViewport::~ByteBufferViewport() {}

void ByteBufferViewport::initialize(unsigned char* data, unsigned int capacity, unsigned int size) {
    _data = data;
    _capacity = capacity;
    _size = size < capacity ? size : capacity;
}

void ByteBufferViewport::size(unsigned int n) {
    if (n > _capacity)
        throw std::length_error("Used size may not exceed reserved capacity");
    _size = n;
}

unsigned char& ByteBufferViewport::at(unsigned int index) {
    if (index >= _size)
        throw std::out_of_range("Index may not be greater than used size");
    return _data[index];
}

const unsigned char& ByteBufferViewport::at(unsigned int index) const {
    if (index >= _size)
        throw std::out_of_range("Index may not be greater than used size");
    return _data[index];
}

} // namespace kestrel
