#ifndef KESTREL_POSTFIXSTACK_H
#define KESTREL_POSTFIXSTACK_H

namespace kestrel {

/**
 * The value stack a postfix program runs on. The storage belongs to whoever evaluates the program; the stack only
 * points at it. Operators neither grow the storage nor check bounds: the compiler proves the depth of every step
 * before a program may run.
 */
template <typename T> class PostfixStack {
public:
    explicit PostfixStack(T* storage) : top(-1), values(storage) {}

    /** Index of the top value; -1 when the stack is empty. */
    int top;
    /** The value slots. */
    T* values;
};

extern template class PostfixStack<double>;

} // namespace kestrel

#endif
