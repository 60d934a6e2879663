#include "kestrel/PostfixErrors.h"

namespace kestrel {

const char* PostfixErrors::getMessage(Code code) {
    return getMessage(static_cast<int>(code));
}

const char* PostfixErrors::getMessage(int code) {
    switch (code) {
    case OK:
        return "Ok";
    case DIVIDE_BY_ZERO:
        return "Divide by zero";
    case NOT_ENOUGH_VARIABLES:
        return "Not enough variables for evaluation";
    case BAD_EXPRESSION:
        return "Bad expression";
    case BAD_STACK_RESULT:
        return "Bad stack result";
    case STACK_UNDERFLOW:
        return "Expression stack underflow";
    case STACK_OVERFLOW:
        return "Expression stack overflow";
    case NO_EXPRESSION:
        return "No Expression";
    default:
        return "Unknown status";
    }
}

} // namespace kestrel
