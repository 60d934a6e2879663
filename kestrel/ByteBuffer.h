#ifndef KESTREL_BYTEBUFFER_H
#define KESTREL_BYTEBUFFER_H

#include "kestrel/ByteBufferViewport.h"

namespace kestrel {

/// A byte range that owns its array and grows it on demand. Copies are deep.
class ByteBuffer : public ByteBufferViewport {
public:
    ByteBuffer();
    /// Copies min(capacity, size) bytes from source into a new array of the given capacity.
    ByteBuffer(const unsigned char* source, unsigned int capacity, unsigned int size);
    ByteBuffer(const ByteBuffer& other);
    explicit ByteBuffer(const ByteBufferViewport& other);

    ByteBuffer& operator=(const ByteBufferViewport& other) override;
    ~ByteBuffer() override;
    /// A buffer never adopts foreign memory: this form copies the bytes like the const form.
    void initialize(unsigned char* source, unsigned int capacity, unsigned int size) override;
    /// Sets the used size, growing the array (contents not kept) when it is too small.
    void size(unsigned int n) override;
    /// Copies min(size, capacity) bytes from source into an array of exactly the given capacity.
    virtual void initialize(const unsigned char* source, unsigned int capacity, unsigned int size);
    virtual ByteBuffer& operator=(const ByteBuffer& other);
    /// Sets the used size, growing the array when it is too small; preserve keeps the old contents.
    virtual void size(unsigned int n, bool preserve);
    virtual void capacity(unsigned int n);

    void capacity(unsigned int n, bool preserve);
    /// Reallocates to exactly n bytes, zero-filled; preserve keeps the first min(size, n) bytes.
    /// The used size is clamped to n.
    void resizeCapacity(unsigned int n, bool preserve);

    using ByteBufferViewport::capacity;
    using ByteBufferViewport::size;
};

} // namespace kestrel

#endif
