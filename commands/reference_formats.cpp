// References in each format: Markdown, a page of the manual, JSON.

#include "describe.h"
#include "json.h"
#include "pipes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

namespace varno::commands {
namespace {

bool is_control(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == 0x7f;
}

std::string_view text_or_nothing(const char *text)
{
    return text ? text : "";
}

} // namespace

// Markdown

namespace {

// Any text, as it is.
void add_prose(Array<char> &out, std::string_view text)
{
    for (const char c : text) {
        if (std::strchr("\\`*_[]<>&#|~", c) && c != '\0')
            out.add('\\');
        out.add(is_control(c) ? ' ' : c);
    }
}

// The fence is longer than those in the text.
void add_code(Array<char> &out, std::string_view text)
{
    std::string_view fence = "`";
    if (text.find('`') != text.npos)
        fence = text.find("``") == text.npos ? "``" : "````````";
    add(out, fence);
    add(out, fence.size() > 1 ? " " : "");
    for (const char c : text)
        out.add(is_control(c) ? ' ' : c);
    add(out, fence.size() > 1 ? " " : "");
    add(out, fence);
}

void begin_markdown(Array<char> &out, const Snapshot *snapshot)
{
    add(out, "# Commands");
    if (snapshot->set->host) {
        add(out, " of ");
        add_prose(out, snapshot->set->host);
    }
    add(out, "\n");
}

void begin_markdown_mode(Array<char> &out, const Snapshot *snapshot, size_t i)
{
    const cli_mode_s &mode = mode_at(snapshot, i);
    if (!mode.name)
        return;
    add(out, "\n## Mode ");
    add_code(out, mode.name);
    add(out, "\n");
    if (i > 0 && (mode.flags & CLI_INHERITS) != 0) {
        add(out, "\nIt has the commands of ");
        add_code(out, mode.parent);
        add(out, ", too.\n");
    }
    if (i > 0 && (mode.flags & CLI_DO) != 0) {
        add(out, "\nAfter `do` it has those of ");
        add_code(out, text_or_nothing(mode_at(snapshot, 0).name));
        add(out, ".\n");
    }
}

void begin_markdown_command(Array<char> &out, const Described &command)
{
    add(out, "\n### ");
    add_code(out, command.syntax);
    add(out, "\n");
    if (command.command->help) {
        add(out, "\n");
        add_prose(out, command.command->help);
        add(out, "\n");
    }
}

void add_markdown_word(Array<char> &out, const Word &word, bool is_first)
{
    add(out, is_first ? "\n- " : "- ");
    add_code(out, word.text);
    add(out, *word.help ? ": " : "");
    add_prose(out, word.help);
    add(out, "\n");
}

void end_markdown_command(Array<char> &out, const Described &command, bool)
{
    if (command.command->level > 0) {
        add(out, "\nFrom level ");
        add_number(out, command.command->level);
        add(out, " on.\n");
    }
    if (command.enters) {
        add(out, "\nLeads to mode ");
        add_code(out, command.enters);
        add(out, ".\n");
    }
    if ((command.command->flags & CLI_UNPIPED) != 0)
        add(out, "\nNo filter may come after it.\n");
}

void begin_markdown_filters(Array<char> &out)
{
    add(out, "\n## Filters\n\nAfter most commands `|` and one of these may come, up to ");
    add_number(out, most_filters);
    add(out, " times; `save` is the last,\nand no other comes after `json` but `no-more`.\n");
}

void end_with_nothing(Array<char> &) {}

} // namespace

const Format markdown_format = {
    begin_markdown,       begin_markdown_mode, begin_markdown_command, add_markdown_word,
    end_markdown_command, end_with_nothing,    begin_markdown_filters, end_with_nothing};

// A manual page

namespace {

// One argument of a macro, whatever it is.
void add_quoted_roff(Array<char> &out, std::string_view text)
{
    add(out, "\"\\&");
    for (const char c : text) {
        if (c == '\\')
            add(out, "\\e");
        else if (c == '"')
            add(out, "\\(dq");
        else if (c == '-')
            add(out, "\\-");
        else
            out.add(is_control(c) ? ' ' : c);
    }
    add(out, "\"");
}

// A row of text.
void add_roff(Array<char> &out, std::string_view text)
{
    add(out, "\\&");
    for (const char c : text) {
        if (c == '\\')
            add(out, "\\e");
        else
            out.add(is_control(c) ? ' ' : c);
    }
    add(out, "\n");
}

// The day of SOURCE_DATE_EPOCH, by which a build gives the same bytes on any day; else today.
void add_date(Array<char> &out)
{
    static constexpr const char *months[] = {"January",   "February", "March",    "April",
                                             "May",       "June",     "July",     "August",
                                             "September", "October",  "November", "December"};
    const char *told = std::getenv("SOURCE_DATE_EPOCH");
    const std::time_t now =
        told ? static_cast<std::time_t>(std::strtoll(told, nullptr, 10)) : std::time(nullptr);
    std::tm day = {};
    gmtime_r(&now, &day);
    char date[64];
    std::snprintf(date, sizeof(date), "%s %d, %d", months[day.tm_mon], day.tm_mday,
                  day.tm_year + 1900);
    add(out, date);
}

// The title of a page is in capitals.
void add_title(Array<char> &out, std::string_view name)
{
    Array<char> title = {};
    for (const char c : name)
        title.add(c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c);
    add_quoted_roff(out, {title.begin(), title.used});
    out.is_short = out.is_short || title.is_short;
    title.release();
}

void begin_man(Array<char> &out, const Snapshot *snapshot)
{
    const char *name = snapshot->set->host ? snapshot->set->host : "device";
    add(out, ".Dd ");
    add_date(out);
    add(out, "\n.Dt ");
    add_title(out, name);
    add(out, " 7\n.Os\n.Sh NAME\n.Nm ");
    add_quoted_roff(out, name);
    add(out, "\n.Nd its commands\n.Sh DESCRIPTION\n");
}

void begin_man_mode(Array<char> &out, const Snapshot *snapshot, size_t i)
{
    const cli_mode_s &mode = mode_at(snapshot, i);
    if (mode.name) {
        add(out, ".Ss Mode ");
        add_quoted_roff(out, mode.name);
        add(out, "\n");
    }
    if (i > 0 && (mode.flags & CLI_INHERITS) != 0) {
        add(out, "It has the commands of\n.Ic ");
        add_quoted_roff(out, mode.parent);
        add(out, " ,\ntoo.\n");
    }
    if (i > 0 && (mode.flags & CLI_DO) != 0) {
        add(out, "After\n.Ic do\nit has those of\n.Ic ");
        add_quoted_roff(out, text_or_nothing(mode_at(snapshot, 0).name));
        add(out, " .\n");
    }
    add(out, ".Bl -tag -width Ds\n");
}

void begin_man_command(Array<char> &out, const Described &command)
{
    add(out, ".It Ic ");
    add_quoted_roff(out, command.syntax);
    add(out, "\n");
    add_roff(out, text_or_nothing(command.command->help));
}

void add_man_word(Array<char> &out, const Word &word, bool is_first)
{
    add(out, is_first ? ".Bl -tag -width Ds -compact\n" : "");
    add(out, word.is_argument ? ".It Ar " : ".It Ic ");
    add_quoted_roff(out, word.text);
    add(out, "\n");
    add_roff(out, word.help);
}

void end_man_command(Array<char> &out, const Described &command, bool has_words)
{
    add(out, has_words ? ".El\n" : "");
    if (command.command->level > 0) {
        add(out, ".Pp\nFrom level ");
        add_number(out, command.command->level);
        add(out, " on.\n");
    }
    if (command.enters) {
        add(out, ".Pp\nLeads to mode\n.Ic ");
        add_quoted_roff(out, command.enters);
        add(out, " .\n");
    }
    if ((command.command->flags & CLI_UNPIPED) != 0)
        add(out, ".Pp\nNo filter may come after it.\n");
}

void end_man_mode(Array<char> &out)
{
    add(out, ".El\n");
}

void begin_man_filters(Array<char> &out)
{
    add(out, ".Ss Filters\nAfter most commands\n.Ic \\(ba\nand one of these may come, up to ");
    add_number(out, most_filters);
    add(out, " times;\n.Ic save\nis the last, and no other comes after\n.Ic json\nbut\n"
             ".Ic no\\-more .\n.Bl -tag -width Ds\n");
}

} // namespace

const Format man_format = {begin_man,       begin_man_mode, begin_man_command, add_man_word,
                           end_man_command, end_man_mode,   begin_man_filters, end_man_mode};

// JSON

namespace {

void add_json(Array<char> &out, const char *key, std::string_view text)
{
    char part[256];
    add(out, "\"");
    add(out, key);
    add(out, "\": \"");
    while (!text.empty()) {
        text.remove_prefix(escape_json(text, true, part, std::size(part)));
        add(out, part);
    }
    add(out, "\"");
}

void add_json_or_null(Array<char> &out, const char *key, const char *text)
{
    if (text)
        return add_json(out, key, text);
    add(out, "\"");
    add(out, key);
    add(out, "\": null");
}

void begin_json(Array<char> &out, const Snapshot *snapshot)
{
    add(out, "{");
    add_json_or_null(out, "host", snapshot->set->host);
    add(out, ", \"modes\": [");
}

void begin_json_mode(Array<char> &out, const Snapshot *snapshot, size_t i)
{
    const cli_mode_s &mode = mode_at(snapshot, i);
    add(out, i > 0 ? ",\n{" : "\n{");
    add_json_or_null(out, "name", mode.name);
    add(out, ", ");
    add_json_or_null(out, "parent", mode.parent);
    add(out, ", \"inherits\": ");
    add(out, i > 0 && (mode.flags & CLI_INHERITS) != 0 ? "true" : "false");
    add(out, ", \"do\": ");
    add(out, i > 0 && (mode.flags & CLI_DO) != 0 ? "true" : "false");
    add(out, ", \"commands\": [");
}

void begin_json_command(Array<char> &out, const Described &command)
{
    add(out, command.is_first ? "\n  {" : ",\n  {");
    add_json(out, "syntax", command.syntax);
    add(out, ", ");
    add_json(out, "help", text_or_nothing(command.command->help));
    if (!command.is_filter) {
        add(out, ", \"level\": ");
        add_number(out, command.command->level);
        add(out, ", ");
        add_json_or_null(out, "enters", command.enters);
        add(out, ", \"filters\": ");
        add(out, command.is_piped ? "true" : "false");
    }
    add(out, ", \"words\": [");
}

void add_json_word(Array<char> &out, const Word &word, bool is_first)
{
    add(out, is_first ? "\n    {" : ",\n    {");
    add_json(out, word.is_argument ? "argument" : "keyword", word.text);
    if (word.is_argument) {
        add(out, ", ");
        add_json(out, "type", word.type);
    }
    add(out, ", ");
    add_json(out, "help", word.help);
    add(out, "}");
}

void end_json_command(Array<char> &out, const Described &, bool)
{
    add(out, "]}");
}

void end_json_mode(Array<char> &out)
{
    add(out, "]}");
}

void begin_json_filters(Array<char> &out)
{
    add(out, "],\n\"filters\": [");
}

void end_json(Array<char> &out)
{
    add(out, "]}\n");
}

} // namespace

const Format json_format = {begin_json,       begin_json_mode, begin_json_command, add_json_word,
                            end_json_command, end_json_mode,   begin_json_filters, end_json};

} // namespace varno::commands
