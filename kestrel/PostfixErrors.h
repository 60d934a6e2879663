#ifndef KESTREL_POSTFIXERRORS_H
#define KESTREL_POSTFIXERRORS_H

namespace kestrel {

/** Status codes of compiling and evaluating postfix programs, and their texts. */
class PostfixErrors {
public:
    enum Code {
        OK = 0,
        DIVIDE_BY_ZERO = 1,
        NOT_ENOUGH_VARIABLES = 2,
        BAD_EXPRESSION = 3,
        BAD_STACK_RESULT = 4,
        STACK_UNDERFLOW = 5,
        STACK_OVERFLOW = 6,
        NO_EXPRESSION = 7
    };

    /** The text of a status code; "Unknown status" for a value that is not a code. */
    static const char* getMessage(Code code);
    /** The same for a code held in an int, as the calculator returns it. */
    static const char* getMessage(int code);
};

} // namespace kestrel

#endif
