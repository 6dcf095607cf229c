#ifndef VARNO_COMMANDS_HPP
#define VARNO_COMMANDS_HPP

/* Commands in C++20, header only: varno/commands.h says what they are. The notation is read
 * while the program is compiled, and a command's handler takes what the syntax has:
 *
 *     using varno::Call;
 *     using varno::command;
 *
 *     const cli_command_s rows[] = {
 *         varno::row<"vlan">("virtual networks"),
 *         command<"vlan VLAN(1-4094) [name NAME]">(
 *             [](Call &call, int64_t vlan, std::optional<std::string_view> name) {
 *                 call.print("VLAN ", vlan, " ", name.value_or("without a name"), "\n");
 *             }, "make or name a VLAN"),
 *     };
 *
 * A handler takes a Call & and then, in the order in which they stand in the syntax:
 *
 *     NAME(1-4094), NAME(hex)           int64_t
 *     NAME(ipv4) ... (ip/), NAME(mac)   varno::Address
 *     NAME, NAME(line), (secret),       std::string_view, as it was typed
 *     (pattern), a type of the program
 *     NAME... of any type               varno::Words
 *     <a|b>$which                       std::string_view, the keyword in full
 *     [no], and a keyword that is all   bool: it was given
 *     of an alternative in [ ] or { }
 *
 * What the user may leave out, inside [ ], ![ ], { } or <a|b>, is a std::optional, except
 * bool and Words. A handler may also take the call alone; taken as auto &, it can be asked
 * for varno::argument<"VLAN">(call), which has the same types. Other types, a name that the
 * syntax has not, or a syntax that is none do not compile. What only definitions together
 * can have wrong is told when the set is built.
 *
 * A handler is a lambda without captures, or a function: command<"reload", reload>("...").
 * It returns nothing, or what a cli_run_fn does; where that is sometimes CLI_DONE and sometimes
 * call.fail(...), a lambda needs "-> int32_t" before its body. It may throw as a cli_run_fn may.
 * What has no method, such as a table, is a function of varno/commands.h: cli_columns(call, ...). */

#include <varno/commands.h>

#include <array>
#include <cinttypes>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace varno {

/* An address, a prefix or a hardware address: bytes in network order, 4, 16 or 6 of them. */
struct Address {
    int32_t family;                /* 4, 6 or 48 */
    int32_t bits;                  /* of a prefix, else those of the address */
    std::array<uint8_t, 16> bytes; /* in network order; the rest is 0 */
};

/* The words of a NAME..., as long as the handler runs. */
class Words {
  public:
    /* The words of the call's argument of that name. */
    Words(cli_call_s *call, const char *name) : call_(call), name_(name) {}

    size_t size() const { return cli_count(call_, name_); } /* how many there are */
    bool empty() const { return size() == 0; }              /* none was given */

    /* One of them, by its index, from 0. */
    std::string_view operator[](size_t index) const { return cli_text_at(call_, name_, index); }

    /* Goes through them. */
    class Iterator {
      public:
        Iterator(const Words *words, size_t index) : words_(words), index_(index) {}
        std::string_view operator*() const { return (*words_)[index_]; }
        Iterator &operator++()
        {
            index_++;
            return *this;
        }
        bool operator==(const Iterator &) const = default;

      private:
        const Words *words_;
        size_t index_;
    };

    Iterator begin() const { return {this, 0}; }    /* for loops */
    Iterator end() const { return {this, size()}; } /* for loops */

  private:
    cli_call_s *call_;
    const char *name_;
};

/* What a call prints: a text, a character or a whole number. */
class Part {
  public:
    explicit Part(std::string_view text) : text_(text) {}
    explicit Part(const char *text) : text_(text) {}
    explicit Part(char character) : kind_(Kind::character), number_(character) {}

    template <std::integral Number>
    explicit Part(Number number)
        : kind_(std::is_signed_v<Number> ? Kind::number : Kind::natural_number),
          number_(static_cast<int64_t>(number))
    {}

    Part(const Part &) = delete;
    Part &operator=(const Part &) = delete;

    void print(cli_call_s *call) const
    {
        switch (kind_) {
        case Kind::text:
            return cli_print(call, "%.*s", static_cast<int>(text_.size()), text_.data());
        case Kind::character:
            return cli_print(call, "%c", static_cast<char>(number_));
        case Kind::number:
            return cli_print(call, "%" PRId64, number_);
        case Kind::natural_number:
            return cli_print(call, "%" PRIu64, static_cast<uint64_t>(number_));
        }
    }

  private:
    enum class Kind : uint8_t { text, character, number, natural_number };

    Kind kind_ = Kind::text;
    int64_t number_ = 0;
    std::string_view text_;
};

/* A call: what the functions of varno/commands.h take, and some of them as methods. */
class Call {
  public:
    /* Of a call and its row's user pointer. */
    Call(cli_call_s *call, void *user) : call_(call), user_(user) {}
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    operator cli_call_s *() const { return call_; }                    /* for those functions */
    cli_shell_s *shell() const { return cli_call_shell(call_); }       /* as cli_call_shell */
    void *user() const { return user_; }                               /* the row's */
    bool is_cancelled() const { return cli_is_cancelled(call_) != 0; } /* as cli_is_cancelled */
    uint64_t ticket() const { return cli_ticket(call_); }              /* as cli_ticket */

    /* Writes texts and whole numbers one after the other, cleaned as cli_print does. Not
     * inlined, for the reason given at notation::Reading. */
    template <typename... Parts>
    [[gnu::noinline]] void print(const Parts &...parts) const
    {
        const Part all[] = {Part(parts)...};
        for (const Part &part : all)
            part.print(call_);
    }

    /* As cli_fail; why is a text, not a format.
     * Returns: CLI_FAILED. */
    int32_t fail(const char *why) const
    {
        cli_fail(call_, "%s", why);
        return CLI_FAILED;
    }

    /* As cli_fail_at, at the argument or keyword `name`; why is a text, not a format.
     * Returns: CLI_FAILED. */
    int32_t fail_at(const char *name, const char *why) const
    {
        cli_fail_at(call_, name, "%s", why);
        return CLI_FAILED;
    }

    /* The call's own object, made without arguments when it is asked for first; it lives
     * until the call ends. A call has one. Throws std::bad_alloc. */
    template <typename State>
    State &state() const
    {
        static_assert(alignof(State) <= alignof(std::max_align_t));
        struct Kept {
            alignas(State) unsigned char bytes[sizeof(State)];
            bool is_made;
        };
        const auto release = [](void *memory) {
            auto *kept = static_cast<Kept *>(memory);
            if (kept->is_made)
                std::launder(reinterpret_cast<State *>(kept->bytes))->~State();
        };
        auto *kept = static_cast<Kept *>(cli_state(call_, sizeof(Kept), release));
        if (!kept)
            throw std::bad_alloc();
        if (!kept->is_made)
            new (kept->bytes) State();
        kept->is_made = true;
        return *std::launder(reinterpret_cast<State *>(kept->bytes));
    }

  private:
    cli_call_s *call_;
    void *user_;
};

/* A text that is an argument of a template. */
template <size_t size>
struct Text {
    consteval Text(const char (&from)[size])
    {
        for (size_t i = 0; i < size; i++)
            text[i] = from[i];
    }

    char text[size];
};

/* Reads notation while a program is compiled. Programs do not use it. */
namespace notation {

enum class Kind : uint8_t { text, number, address, words, flag };

struct Parameter {
    int name; /* where its name is in the syntax */
    int end;
    Kind kind;
    bool is_optional;
};

enum class Problem : uint8_t {
    none,
    empty_syntax,
    empty_alternative,
    open_bracket,
    stray_character,
    bad_word,
    bad_type,
    bad_range,
    name_twice,
    negation_without_no,
    nesting_too_deep,
    flag_twice,
};

/* What a character is to words; from bracket on it ends one, from blank on also an item. */
enum class Class : uint8_t { other, in_name, needs_quotes, bracket, blank, end };

struct Classes {
    consteval Classes()
    {
        for (int c = 0; c < 256; c++)
            of[c] = c <= ' ' || c > '~' ? Class::needs_quotes : Class::other;
        put("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_", Class::in_name);
        put("\"'\\", Class::needs_quotes);
        put("<[{()$", Class::bracket);
        put(" ", Class::blank);
        put("|>]}", Class::end);
        of[0] = Class::end;
    }

    Class of[256];

  private:
    consteval void put(const char *characters, Class is)
    {
        for (; *characters != '\0'; characters++)
            of[static_cast<unsigned char>(*characters)] = is;
    }
};

inline constexpr Classes classes;

/* Built-in types with values of their own. */
struct TypeName {
    const char *name;
    Kind kind;
};

inline constexpr TypeName type_names[] = {
    {"ipv4)", Kind::address},  {"ipv6)", Kind::address},  {"ip)", Kind::address},
    {"ipv4/)", Kind::address}, {"ipv6/)", Kind::address}, {"ip/)", Kind::address},
    {"mac)", Kind::address},   {"hex)", Kind::number},
};

/* The same rules, in the same order, as those of the library. A type that is not built in
 * is one that the program registers. Characters are looked at one by one: that is what
 * compilers are quick at. */
class Reader {
  public:
    /* There is room for a parameter for each two characters. */
    constexpr Reader(const char *syntax, Parameter *parameters)
        : syntax_(syntax), parameters_(parameters)
    {}

    constexpr void read()
    {
        skip_blanks();
        read_negation();
        skip_blanks();
        if (next() == '\0')
            return fail(Problem::empty_syntax, at_);
        read_sequence(0, '<', false);
        if (next() != '\0')
            fail(Problem::stray_character, at_);
        check_names();
    }

    constexpr int count() const { return count_; }
    constexpr Problem problem() const { return problem_; }
    constexpr int column() const { return column_; }

  private:
    constexpr char next() const { return syntax_[at_]; }
    constexpr bool has_failed() const { return problem_ != Problem::none; }

    constexpr bool is_next(const char *text) const
    {
        int i = 0;
        while (text[i] != '\0' && text[i] == syntax_[at_ + i])
            i++;
        return text[i] == '\0';
    }

    constexpr void skip_blanks()
    {
        while (next() == ' ')
            at_++;
    }

    /* "[no] " or "[no|default] ", with blanks around the words. */
    constexpr void read_negation()
    {
        if (next() != '[')
            return;
        const int back = at_;
        int words[2] = {};
        int count = 0;
        do {
            at_++;
            skip_blanks();
            words[count] = at_;
            if (!is_next(count == 0 ? "no" : "default"))
                break;
            at_ += count == 0 ? 2 : 7;
            skip_blanks();
            count++;
        } while (next() == '|' && count == 1);
        is_negatable_ = count > 0 && is_next("] ");
        if (is_negatable_)
            add({words[0], words[0] + 2, Kind::flag, true});
        if (is_negatable_ && count == 2)
            add({words[1], words[1] + 7, Kind::flag, true});
        at_ = is_negatable_ ? at_ + 1 : back;
    }

    constexpr void fail(Problem problem, int at)
    {
        if (has_failed())
            return;
        problem_ = problem;
        column_ = at;
    }

    constexpr void add(const Parameter &parameter)
    {
        if (!has_failed())
            parameters_[count_++] = parameter;
    }

    constexpr Class class_at(int at) const
    {
        return classes.of[static_cast<unsigned char>(syntax_[at])];
    }

    constexpr bool ends_item() const { return class_at(at_) >= Class::blank; }

    static constexpr bool is_capital(char c) { return c >= 'A' && c <= 'Z'; }
    static constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

    /* A keyword that is all of an alternative in [ ] or { } is a flag. */
    constexpr void read_sequence(int depth, char opening, bool is_optional)
    {
        int items = 0;
        int word = 0;
        int word_end = 0;
        for (skip_blanks(); !has_failed() && class_at(at_) != Class::end; skip_blanks()) {
            const int from = at_;
            if (read_item(depth, is_optional)) {
                word = from;
                word_end = at_;
            }
            items++;
        }
        if (items == 0)
            fail(Problem::empty_alternative, at_);
        if (opening != '<' && items == 1 && word_end > 0)
            add({word, word_end, Kind::flag, true});
    }

    /* Returns: whether it was a keyword. */
    constexpr bool read_item(int depth, bool is_optional)
    {
        const bool is_unless_no = next() == '!' && syntax_[at_ + 1] == '[';
        const char opening = is_unless_no ? '[' : next();
        if (opening != '<' && opening != '[' && opening != '{')
            return read_word(is_optional);
        read_bracket(depth, opening, is_unless_no, is_optional);
        return false;
    }

    constexpr void read_bracket(int depth, char opening, bool is_unless_no, bool is_optional)
    {
        const char closing = opening == '<' ? '>' : opening == '[' ? ']' : '}';
        const int opened = at_;
        const int first = count_;
        bool has_others = opening != '<';
        at_ += is_unless_no ? 2 : 1;
        if (depth == 16)
            fail(Problem::nesting_too_deep, opened);
        if (is_unless_no && !is_negatable_)
            fail(Problem::negation_without_no, opened);
        while (!has_failed()) {
            read_sequence(depth + 1, is_unless_no ? '<' : opening, true);
            const char end = next();
            if (end == '\0')
                return fail(Problem::open_bracket, opened);
            if (end != '|' && end != closing)
                return fail(Problem::stray_character, at_);
            at_++;
            if (end == closing)
                break;
            has_others = true;
        }
        for (int i = first; i < count_ && !has_others && !is_optional; i++)
            parameters_[i].is_optional = parameters_[i].kind == Kind::flag;
        if (opening == '<' && next() == '$')
            read_which(is_optional);
        if (!ends_item())
            fail(Problem::stray_character, at_);
    }

    constexpr void read_which(bool is_optional)
    {
        const int from = ++at_;
        while (class_at(at_) < Class::bracket)
            at_++;
        if (at_ == from)
            return fail(Problem::stray_character, at_ - 1);
        add({from, at_, Kind::text, is_optional});
    }

    /* Returns: whether it was a keyword. */
    constexpr bool read_word(bool is_optional)
    {
        const int from = at_;
        while (class_at(at_) == Class::in_name)
            at_++;
        if (is_capital(syntax_[from]) && (class_at(at_) >= Class::bracket || is_next("..."))) {
            read_argument(from, is_optional);
            return false;
        }
        bool is_bad = false;
        for (; class_at(at_) < Class::bracket; at_++)
            is_bad = is_bad || class_at(at_) == Class::needs_quotes;
        if (at_ == from || !ends_item())
            fail(Problem::stray_character, at_);
        if (is_bad)
            fail(Problem::bad_word, from);
        return true;
    }

    constexpr void read_argument(int from, bool is_optional)
    {
        Parameter read = {from, at_, Kind::text, is_optional};
        if (next() == '(')
            read.kind = read_type();
        if (is_next("...")) {
            read.kind = Kind::words;
            at_ += 3;
        }
        if (!ends_item())
            fail(Problem::stray_character, at_);
        add(read);
    }

    constexpr Kind read_type()
    {
        const int opened = at_++;
        const int from = at_;
        const bool is_range = is_digit(next()) || next() == '-';
        Kind kind = is_range ? Kind::number : Kind::text;
        for (const TypeName &one : type_names)
            kind = is_next(one.name) ? one.kind : kind;
        while (next() != ')' && next() != '\0')
            at_++;
        if (next() == '\0')
            fail(Problem::open_bracket, opened);
        else if (at_ == from)
            fail(Problem::bad_type, from);
        else if (is_range && !read_range(from))
            fail(Problem::bad_range, from);
        at_ += next() == ')' ? 1 : 0;
        return kind;
    }

    /* Up to the parenthesis that is next. */
    constexpr bool read_range(int from) const
    {
        int64_t least = 0;
        int64_t most = 0;
        const bool has_least = read_number(from, '-', least);
        return has_least && read_number(from, ')', most) && least <= most;
    }

    /* There is no -0. */
    constexpr bool read_number(int &at, char end, int64_t &out_number) const
    {
        const bool is_negative = syntax_[at] == '-';
        const uint64_t most = uint64_t{INT64_MAX} + (is_negative ? 1 : 0);
        uint64_t number = 0;
        at += is_negative ? 1 : 0;
        const int first = at;
        for (; is_digit(syntax_[at]); at++) {
            const auto digit = static_cast<uint64_t>(syntax_[at] - '0');
            if (number > (most - digit) / 10)
                return false;
            number = 10 * number + digit;
        }
        out_number = static_cast<int64_t>(is_negative ? 0 - number : number);
        return at > first && syntax_[at++] == end && !(is_negative && number == 0);
    }

    constexpr bool is_same(int one, int other, int len) const
    {
        int i = 0;
        while (i < len && syntax_[one + i] == syntax_[other + i])
            i++;
        return i == len;
    }

    /* A flag's word stands nowhere else as a keyword: what is asked for is the word. */
    constexpr void check_names()
    {
        for (int i = 0; i < count_ && !has_failed(); i++) {
            const Parameter &one = parameters_[i];
            for (int j = 0; j < i; j++) {
                const Parameter &other = parameters_[j];
                if (one.kind != Kind::flag && other.kind != Kind::flag &&
                    one.end - one.name == other.end - other.name &&
                    is_same(one.name, other.name, one.end - one.name))
                    fail(Problem::name_twice, one.name);
            }
            if (one.kind == Kind::flag && count_keyword(one) > 1)
                fail(Problem::flag_twice, one.name);
        }
    }

    constexpr int count_keyword(const Parameter &flag) const
    {
        const int len = flag.end - flag.name;
        int found = 0;
        for (int at = 0; syntax_[at] != '\0'; at++) {
            if (syntax_[at] == syntax_[flag.name] && may_begin_keyword(at) &&
                is_same(at, flag.name, len) && class_at(at + len) >= Class::bracket)
                found++;
        }
        return found;
    }

    constexpr bool may_begin_keyword(int at) const
    {
        const char before = at == 0 ? ' ' : syntax_[at - 1];
        return before != '(' && before != '$' && (at == 0 || class_at(at - 1) >= Class::bracket);
    }

    const char *syntax_;
    Parameter *parameters_;
    int count_ = 0;
    int at_ = 0;
    bool is_negatable_ = false;
    Problem problem_ = Problem::none;
    int column_ = 0;
};

template <size_t size>
struct Syntax {
    Parameter parameters[(size + 1) / 2];
    int count;
    Problem problem;
    int column;
};

template <size_t size>
consteval Syntax<size> read(const Text<size> &text)
{
    Syntax<size> syntax = {};
    Reader reader(text.text, syntax.parameters);
    reader.read();
    syntax.count = reader.count();
    syntax.problem = reader.problem();
    syntax.column = reader.column();
    return syntax;
}

/* Only the compiler needs it. */
template <Text text>
inline constexpr auto syntax_of = read(text);

template <size_t size>
consteval Text<size> end_names(Text<size> text, const Syntax<size> &syntax)
{
    for (int i = 0; i < syntax.count; i++)
        text.text[syntax.parameters[i].end] = '\0';
    return text;
}

/* The syntax, with each parameter's name ended. The program has it. */
template <Text text>
inline constexpr auto names_of = end_names(text, syntax_of<text>);

/* Says why a syntax is none; the column is in what the compiler says beside it. */
template <Problem problem, int column>
consteval bool check()
{
    static_assert(problem != Problem::empty_syntax, "syntax: the syntax is empty");
    static_assert(problem != Problem::empty_alternative, "syntax: an alternative is empty");
    static_assert(problem != Problem::open_bracket, "syntax: this bracket is not closed");
    static_assert(problem != Problem::stray_character, "syntax: this character has no place here");
    static_assert(problem != Problem::bad_word, "syntax: a keyword that would need quotes");
    static_assert(problem != Problem::bad_type, "syntax: this is no type");
    static_assert(problem != Problem::bad_range,
                  "syntax: this is no range of numbers: LEAST-MOST, decimal");
    static_assert(problem != Problem::name_twice, "syntax: this name is used twice in the syntax");
    static_assert(problem != Problem::negation_without_no,
                  "syntax: ![ ] needs [no] before the syntax");
    static_assert(problem != Problem::nesting_too_deep, "syntax: brackets are nested too deep");
    static_assert(problem != Problem::flag_twice,
                  "syntax: this optional keyword stands in the syntax twice, so that a bool could "
                  "not say which was given: <a|b>$which can");
    return problem == Problem::none;
}

/* What an argument is in C++, and how a handler gets it. Commands share that code: inlined into
 * each, 500 of them take g++ 12 a sixth and clang 14 a third longer to compile. */
template <typename Type>
struct Reading;

template <>
struct Reading<std::string_view> {
    static constexpr Kind kind = Kind::text;
    [[gnu::noinline]] static std::string_view read(cli_call_s *call, const char *name)
    {
        const char *text = cli_text(call, name);
        return text ? text : "";
    }
};

template <>
struct Reading<int64_t> {
    static constexpr Kind kind = Kind::number;
    static int64_t read(cli_call_s *call, const char *name) { return cli_number(call, name); }
};

template <>
struct Reading<Address> {
    static constexpr Kind kind = Kind::address;
    [[gnu::noinline]] static Address read(cli_call_s *call, const char *name)
    {
        Address address = {};
        const uint8_t *bytes = cli_address(call, name, &address.family, &address.bits);
        const size_t count = address.family == 4 ? 4 : address.family == 6 ? 16 : 6;
        for (size_t i = 0; bytes && i < count; i++)
            address.bytes[i] = bytes[i];
        return address;
    }
};

template <>
struct Reading<Words> {
    static constexpr Kind kind = Kind::words;
    static Words read(cli_call_s *call, const char *name) { return {call, name}; }
};

template <>
struct Reading<bool> {
    static constexpr Kind kind = Kind::flag;
    static bool read(cli_call_s *call, const char *name) { return cli_has(call, name) != 0; }
};

template <typename Type>
struct Reading<std::optional<Type>> {
    static constexpr Kind kind = Reading<Type>::kind;
    [[gnu::noinline]] static std::optional<Type> read(cli_call_s *call, const char *name)
    {
        if (cli_has(call, name) == 0)
            return std::nullopt;
        return Reading<Type>::read(call, name);
    }
};

template <typename Type>
inline constexpr bool is_optional = false;
template <typename Type>
inline constexpr bool is_optional<std::optional<Type>> = true;

template <typename Type>
constexpr bool is_read_as(const Parameter &parameter)
{
    if constexpr (requires { Reading<Type>::kind; }) {
        const bool may_be_optional =
            Reading<Type>::kind != Kind::flag && Reading<Type>::kind != Kind::words;
        return Reading<Type>::kind == parameter.kind &&
               is_optional<Type> == (may_be_optional && parameter.is_optional);
    } else {
        return false;
    }
}

/* What a handler takes, and how it is called: one type for all handlers of a kind. */
template <typename Result, typename Indices, typename... Types>
struct Signature;

template <typename Result, size_t... i, typename... Types>
struct Signature<Result, std::index_sequence<i...>, Types...> {
    static constexpr bool fits(const Parameter *parameters, int count)
    {
        return sizeof...(Types) == 0 ||
               (static_cast<int>(sizeof...(Types)) == count &&
                (is_read_as<std::remove_cvref_t<Types>>(parameters[i]) && ...));
    }

    template <Text text, typename Handler>
    static int32_t run(cli_call_s *called, void *user)
    {
        constexpr const auto &syntax = syntax_of<text>;
        constexpr const char *names = names_of<text>.text;
        Call call(called, user);
        static_cast<void>(syntax);
        static_cast<void>(names);
        if constexpr (std::is_void_v<Result>) {
            Handler()(call, Reading<std::remove_cvref_t<Types>>::read(
                                called, names + syntax.parameters[i].name)...);
            return CLI_DONE;
        } else {
            return Handler()(call, Reading<std::remove_cvref_t<Types>>::read(
                                       called, names + syntax.parameters[i].name)...);
        }
    }
};

struct NoSignature {
    static constexpr bool fits(const Parameter *, int) { return false; }
};

template <typename Result, typename... Types>
using SignatureOf = Signature<Result, std::index_sequence_for<Types...>, Types...>;

template <typename Result, typename... Types>
SignatureOf<Result, Types...> signature_of(Result (*)(Call &, Types...));
template <typename Object, typename Result, typename... Types>
SignatureOf<Result, Types...> signature_of(Result (Object::*)(Call &, Types...) const);
NoSignature signature_of(...);

/* The handler is in what the compiler says beside the sentence. */
template <bool fits>
consteval bool check_handler()
{
    static_assert(fits, "handler: after Call & it takes what the syntax has, in that order and "
                        "with these types: int64_t for a range or hex, varno::Address, "
                        "varno::Words for NAME..., bool for a keyword alone in [ ] or { }, else "
                        "std::string_view; std::optional of it where it may be left out");
    return fits;
}

} // namespace notation

/* A call of a command with this syntax. */
template <Text text>
class CallOf : public Call {
  public:
    using Call::Call;
};

namespace notation {

template <Text text, typename Handler>
int32_t run_generic(cli_call_s *call, void *user)
{
    CallOf<text> given(call, user);
    if constexpr (std::is_void_v<decltype(Handler()(given))>) {
        Handler()(given);
        return CLI_DONE;
    } else {
        return Handler()(given);
    }
}

/* A function as a handler that has a type of its own. */
template <auto function>
struct Function {
    template <typename... Types>
    decltype(auto) operator()(Call &call, Types &&...arguments) const
    {
        return function(call, static_cast<Types &&>(arguments)...);
    }
};

template <Text name, Text text>
consteval int find_parameter()
{
    constexpr const auto &syntax = syntax_of<text>;
    int found = 0;
    while (found < syntax.count &&
           std::string_view(names_of<text>.text + syntax.parameters[found].name) != name.text)
        found++;
    return found;
}

template <Kind kind>
struct TypeOf;
template <>
struct TypeOf<Kind::text> {
    using Type = std::string_view;
};
template <>
struct TypeOf<Kind::number> {
    using Type = int64_t;
};
template <>
struct TypeOf<Kind::address> {
    using Type = Address;
};
template <>
struct TypeOf<Kind::words> {
    using Type = Words;
};
template <>
struct TypeOf<Kind::flag> {
    using Type = bool;
};

} // namespace notation

/* An argument of a call, by its name in the syntax: what a handler would have taken. */
template <Text name, Text text>
auto argument(const CallOf<text> &call)
{
    constexpr const auto &syntax = notation::syntax_of<text>;
    constexpr int found = notation::find_parameter<name, text>();
    static_assert(found < syntax.count, "argument: the syntax has no argument of this name");
    if constexpr (found < syntax.count) {
        constexpr notation::Parameter parameter = syntax.parameters[found];
        using Type = typename notation::TypeOf<parameter.kind>::Type;
        using Whole =
            std::conditional_t<notation::is_read_as<Type>(parameter), Type, std::optional<Type>>;
        return notation::Reading<Whole>::read(call, notation::names_of<text>.text + parameter.name);
    }
}

/* What else a row has. */
struct Options {
    const char *enters = nullptr; /* the mode that it leads to */
    int32_t level = 0;            /* 0..15, that a shell needs to have it */
    uint32_t flags = 0;           /* CLI_HIDDEN, CLI_UNPIPED, CLI_FORGOTTEN, or 0 */
    void *user = nullptr;         /* for Call::user */
};

namespace notation {

constexpr cli_command_s make_row(const char *syntax, const char *says, const Options &options)
{
    cli_command_s row = {};
    row.syntax = syntax;
    row.help = says;
    row.enters = options.enters;
    row.level = options.level;
    row.flags = options.flags;
    row.user = options.user;
    return row;
}

} // namespace notation

/* A row without a handler: it documents the last word of its syntax, or leads to a mode. says is
 * its help, a constant text; options is what else it has. */
template <Text text>
constexpr cli_command_s row(const char *says, const Options &options = {})
{
    constexpr const auto &syntax = notation::syntax_of<text>;
    static_cast<void>(notation::check<syntax.problem, syntax.column>());
    return notation::make_row(text.text, says, options);
}

/* A command, run by a lambda; says and options are as above. */
template <Text text, typename Handler>
constexpr cli_command_s command(Handler, const char *says, const Options &options = {})
{
    constexpr const auto &syntax = notation::syntax_of<text>;
    static_assert(std::is_empty_v<Handler>, "handler: a lambda without captures, or a function as "
                                            "command<\"syntax\", function>(help)");
    cli_command_s made = notation::make_row(text.text, says, options);
    if constexpr (!notation::check<syntax.problem, syntax.column>() || !std::is_empty_v<Handler>) {
        return made; /* what is wrong has been said */
    } else if constexpr (requires { &Handler::operator(); }) {
        using Signature = decltype(notation::signature_of(&Handler::operator()));
        constexpr bool fits = Signature::fits(syntax.parameters, syntax.count);
        if constexpr (notation::check_handler<fits>())
            made.run = Signature::template run<text, Handler>;
    } else {
        made.run = notation::run_generic<text, Handler>;
    }
    return made;
}

/* A command, run by a function; says and options are as above. */
template <Text text, auto function>
constexpr cli_command_s command(const char *says, const Options &options = {})
{
    constexpr const auto &syntax = notation::syntax_of<text>;
    using Signature = decltype(notation::signature_of(function));
    cli_command_s made = notation::make_row(text.text, says, options);
    if constexpr (notation::check<syntax.problem, syntax.column>()) {
        constexpr bool fits = Signature::fits(syntax.parameters, syntax.count);
        if constexpr (notation::check_handler<fits>())
            made.run = Signature::template run<text, notation::Function<function>>;
    }
    return made;
}

} // namespace varno

#endif
