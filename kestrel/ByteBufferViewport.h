#ifndef KESTREL_BYTEBUFFERVIEWPORT_H
#define KESTREL_BYTEBUFFERVIEWPORT_H

namespace kestrel {

/// A non-owning view of a byte range: a data pointer, the number of bytes reserved at it (capacity) and the
/// number of bytes in use (size, never more than the capacity).
class ByteBufferViewport {
public:
    ByteBufferViewport();
    /// The used size is clamped to the capacity.
    ByteBufferViewport(unsigned char* data, unsigned int capacity, unsigned int size);
    ByteBufferViewport(const ByteBufferViewport& other);

    virtual ByteBufferViewport& operator=(const ByteBufferViewport& other);
    virtual ~ByteBufferViewport();
    /// Points the view at another range; the used size is clamped to the capacity.
    virtual void initialize(unsigned char* data, unsigned int capacity, unsigned int size);
    /// Sets the used size; throws std::length_error when it exceeds the capacity.
    virtual void size(unsigned int n);

    const unsigned char* data() const { return _data; }
    unsigned char* data() { return _data; }
    unsigned int capacity() const { return _capacity; }
    unsigned int size() const { return _size; }

    /// Byte at an index below the used size; throws std::out_of_range otherwise.
    unsigned char& at(unsigned int index);
    const unsigned char& at(unsigned int index) const;

protected:
    unsigned char* _data;
    unsigned int _capacity;
    unsigned int _size;
};

} // namespace kestrel

#endif
