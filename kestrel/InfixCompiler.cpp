#include "kestrel/InfixCompiler.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace kestrel {

namespace {

// The binary operators by level, from the weakest binding to the strongest; each is also its postfix token.
const std::vector<std::vector<const char*>> LEVELS = {{"||"},     {"&&"},    {"==", "!="}, {"<", "<=", ">", ">="},
                                                      {"+", "-"}, {"*", "/"}};

struct Function {
    const char* name;
    int arguments;
};
const Function FUNCTIONS[] = {{"min", 2}, {"max", 2}, {"abs", 1}, {"ceil", 1}, {"floor", 1}, {"round", 1}};

// Thrown to end the compilation at the first mistake; the message is kept in the compiler.
struct Mistake {};

bool isNameStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}

bool isNameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

} // namespace

InfixCompiler::InfixCompiler(const std::string& text, std::vector<std::string>& postfix,
                             std::vector<std::string>& variables)
    : text(text), postfix(postfix), variables(variables) {}

std::string InfixCompiler::compile(const std::string& text, std::vector<std::string>& postfix,
                                   std::vector<std::string>& variables) {
    postfix.clear();
    variables.clear();
    InfixCompiler compiler(text, postfix, variables);
    try {
        compiler._next();
        if (compiler.token.kind == END) {
            compiler._fail("the expression is empty");
        }
        compiler._expression(0, 0);
        if (compiler.token.kind != END) {
            compiler._fail("unexpected " + compiler._here());
        }
    } catch (const Mistake&) {
        postfix.clear();
        variables.clear();
        return compiler.error;
    }
    return std::string();
}

void InfixCompiler::_fail(const std::string& message) {
    error = message;
    throw Mistake();
}

std::string InfixCompiler::_here() const {
    return token.kind == END ? std::string("end of the expression") : "\"" + token.text + "\"";
}

void InfixCompiler::_next() {
    while (position < text.size() && std::isspace(static_cast<unsigned char>(text[position]))) {
        ++position;
    }
    token = Token();
    if (position == text.size()) {
        return;
    }
    const std::size_t start = position;
    const char c = text[position];
    if (std::isdigit(static_cast<unsigned char>(c)) ||
        (c == '.' && position + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[position + 1])))) {
        token.kind = NUMBER;
        if (c == '0' && position + 1 < text.size() && (text[position + 1] == 'x' || text[position + 1] == 'X')) {
            position += 2;
            while (position < text.size() && std::isxdigit(static_cast<unsigned char>(text[position]))) {
                ++position;
            }
        } else {
            while (position < text.size() &&
                   (std::isdigit(static_cast<unsigned char>(text[position])) || text[position] == '.')) {
                ++position;
            }
            if (position < text.size() && (text[position] == 'e' || text[position] == 'E')) {
                std::size_t exponent = position + 1;
                if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) {
                    ++exponent;
                }
                if (exponent < text.size() && std::isdigit(static_cast<unsigned char>(text[exponent]))) {
                    position = exponent;
                    while (position < text.size() && std::isdigit(static_cast<unsigned char>(text[position]))) {
                        ++position;
                    }
                }
            }
        }
        token.text = text.substr(start, position - start);
        if (position < text.size() && isNameChar(text[position])) {
            while (position < text.size() && isNameChar(text[position])) {
                ++position;
            }
            token.text = text.substr(start, position - start);
            _fail("\"" + token.text + "\" is neither a number nor a name");
        }
        // The calculator reads numbers with strtod and takes a token for a number only when it starts with a digit.
        if (token.text[0] == '.') {
            token.text = "0" + token.text;
        }
        return;
    }
    if (isNameStart(c)) {
        token.kind = NAME;
        while (position < text.size() && isNameChar(text[position])) {
            ++position;
        }
        token.text = text.substr(start, position - start);
        return;
    }
    if (c == '`') {
        const std::size_t end = text.find('`', position + 1);
        if (end == std::string::npos) {
            token.text = text.substr(position);
            _fail("a name in backquotes is not closed: " + token.text);
        }
        token.kind = NAME;
        token.text = text.substr(position + 1, end - position - 1);
        position = end + 1;
        if (token.text.empty()) {
            _fail("an empty name in backquotes");
        }
        return;
    }
    static const char* const OPERATORS[] = {"==", "!=", "<=", ">=", "&&", "||", "<", ">", "+", "-", "*", "/", "^", "!"};
    for (const char* op : OPERATORS) {
        const std::size_t length = std::strlen(op);
        if (text.compare(position, length, op) == 0) {
            token.kind = OPERATOR;
            token.text = op;
            position += length;
            return;
        }
    }
    position = start + 1;
    token.text = std::string(1, c);
    if (c == '(') {
        token.kind = OPEN;
    } else if (c == ')') {
        token.kind = CLOSE;
    } else if (c == ',') {
        token.kind = COMMA;
    } else {
        _fail("unexpected character \"" + token.text + "\"");
    }
}

void InfixCompiler::_expression(int level, int depth) {
    if (level == static_cast<int>(LEVELS.size())) {
        _unary(depth);
        return;
    }
    _expression(level + 1, depth);
    for (;;) {
        const std::vector<const char*>& ops = LEVELS[static_cast<std::size_t>(level)];
        if (token.kind != OPERATOR ||
            std::find_if(ops.begin(), ops.end(), [this](const char* op) { return token.text == op; }) == ops.end()) {
            return;
        }
        const std::string op = token.text;
        _next();
        if (token.kind == END) {
            _fail("a value is missing after \"" + op + "\"");
        }
        _expression(level + 1, depth);
        postfix.push_back(op);
    }
}

void InfixCompiler::_unary(int depth) {
    if (token.kind == OPERATOR && (token.text == "-" || token.text == "!")) {
        const std::string op = token.text;
        _next();
        if (token.kind == END) {
            _fail("a value is missing after \"" + op + "\"");
        }
        if (depth > MAX_DEPTH) {
            _fail("the expression is nested too deeply (more than " + std::to_string(MAX_DEPTH) + " levels)");
        }
        if (op == "-" && token.kind == NUMBER) {
            // A negative number is one constant, unless a power follows: -2^2 is -(2^2).
            const std::string number = token.text;
            _next();
            if (token.kind != OPERATOR || token.text != "^") {
                postfix.push_back("-" + number);
                return;
            }
            postfix.push_back(number);
            _next();
            if (token.kind == END) {
                _fail("a value is missing after \"^\"");
            }
            _unary(depth + 1);
            postfix.push_back("pow");
            postfix.push_back("-1");
            postfix.push_back("*");
            return;
        }
        _unary(depth + 1);
        if (op == "-") {
            postfix.push_back("-1");
            postfix.push_back("*");
        } else {
            postfix.push_back("!");
        }
        return;
    }
    _power(depth);
}

void InfixCompiler::_power(int depth) {
    _primary(depth);
    if (token.kind == OPERATOR && token.text == "^") {
        _next();
        if (token.kind == END) {
            _fail("a value is missing after \"^\"");
        }
        // Right to left, and stronger than a unary minus on its left: -2^2 is -(2^2), 2^-1 is 2^(-1).
        _unary(depth + 1);
        postfix.push_back("pow");
    }
}

void InfixCompiler::_expect(Kind kind, const std::string& what) {
    if (token.kind != kind) {
        _fail("expected " + what + ", found " + _here());
    }
    _next();
}

void InfixCompiler::_primary(int depth) {
    if (depth > MAX_DEPTH) {
        _fail("the expression is nested too deeply (more than " + std::to_string(MAX_DEPTH) + " levels)");
    }
    if (token.kind == NUMBER) {
        postfix.push_back(token.text);
        _next();
        return;
    }
    if (token.kind == OPEN) {
        _next();
        _expression(0, depth + 1);
        _expect(CLOSE, "\")\"");
        return;
    }
    if (token.kind != NAME) {
        _fail(token.kind == END ? std::string("a value is missing at the end of the expression")
                                : "expected a value, found " + _here());
    }
    const std::string name = token.text;
    _next();
    if (token.kind == OPEN) {
        const Function* function = nullptr;
        for (const Function& candidate : FUNCTIONS) {
            if (name == candidate.name) {
                function = &candidate;
            }
        }
        if (function == nullptr) {
            _fail("unknown function \"" + name + "\" (known: min, max, abs, ceil, floor, round)");
        }
        _next();
        for (int argument = 0; argument < function->arguments; ++argument) {
            if (argument > 0) {
                _expect(COMMA, "\",\" between the arguments of " + name);
            }
            _expression(0, depth + 1);
        }
        _expect(CLOSE, "\")\" after the " + std::to_string(function->arguments) + " argument" +
                           (function->arguments > 1 ? "s" : "") + " of " + name);
        postfix.push_back(name);
        return;
    }
    auto found = std::find(variables.begin(), variables.end(), name);
    if (found == variables.end()) {
        variables.push_back(name);
        found = variables.end() - 1;
    }
    postfix.push_back("$" + std::to_string(found - variables.begin()));
}

} // namespace kestrel
