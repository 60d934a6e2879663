#ifndef KESTREL_INFIXCOMPILER_H
#define KESTREL_INFIXCOMPILER_H

#include <string>
#include <vector>

namespace kestrel {

/**
 * Compiles an expression written the usual way round ("prev_state != 0 && prev_pid > 0") into the tokens of a
 * postfix formula for kestrel::PostfixCalculator ("$0 0 != $1 0 > &&"). Names become the variables $0, $1, ... in
 * the order they first appear.
 *
 * The expression knows numbers (decimal with fraction and exponent, or 0x hexadecimal), names (letters, digits and
 * '_', not starting with a digit; a name written between backquotes may be any text without a backquote, so that a
 * name that is also a word of the surrounding language can be written), the operators, from the weakest binding to
 * the strongest: || ; && ; == != ; < <= > >= ; + - ; * / ; unary - and ! ; ^ (power, right to left), parentheses,
 * and the functions min(a, b), max(a, b), abs(x), ceil(x), floor(x), round(x).
 *
 * The text is untrusted: compiling takes time linear in its length, nesting deeper than MAX_DEPTH is refused, and a
 * mistake is a one-line message that names the word where it was found.
 */
class InfixCompiler {
public:
    static const int MAX_DEPTH = 64;

    /// Compiles text; returns an empty string on success, else the message. postfix receives the tokens and
    /// variables the names of $0, $1, ...
    static std::string compile(const std::string& text, std::vector<std::string>& postfix,
                               std::vector<std::string>& variables);

private:
    enum Kind { END, NUMBER, NAME, OPERATOR, OPEN, CLOSE, COMMA };
    struct Token {
        Kind kind = END;
        std::string text;
    };

    InfixCompiler(const std::string& text, std::vector<std::string>& postfix, std::vector<std::string>& variables);
    void _next();
    void _expression(int level, int depth);
    void _unary(int depth);
    void _power(int depth);
    void _primary(int depth);
    void _expect(Kind kind, const std::string& what);
    void _fail(const std::string& message);
    std::string _here() const;

    const std::string& text;
    std::size_t position = 0;
    Token token;
    std::vector<std::string>& postfix;
    std::vector<std::string>& variables;
    std::string error;
};

} // namespace kestrel

#endif
