#ifndef VARNO_FUZZ_PIPES_CHECK_H
#define VARNO_FUZZ_PIPES_CHECK_H

// A command that prints and writes a table as the input says, in a batch and in a session, with
// filters after it; what passes is compared with the model, the bytes of what is saved exactly.

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "finding.h"
#include "input_reader.h"
#include "pipes_model.h"

#include <varno/commands.h>
#include <varno/platform_default.h>

namespace varno_fuzz {

class PipesCheck {
  public:
    explicit PipesCheck(InputReader &in) : set_(cli_set_create())
    {
        read_script(in);
        cli_set_add(set_, nullptr, nullptr, &emit_row, 1);
        FUZZ_REQUIRE(cli_set_build(set_, nullptr, nullptr) == 0);
        const cli_save_s hooks = {this, begin_file, write_file, end_file};
        hooks_ = hooks;
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.user = this;
        config.save = &hooks_;
        config.output = [](void *user, const char *bytes, size_t count) {
            static_cast<PipesCheck *>(user)->written_.append(bytes, count);
        };
        batch_ = cli_shell_create(&config);
        tsession_config_s terminal = TSESSION_CONFIG_INIT;
        terminal.rows = 5;
        terminal.event = [](tsession_s *, void *, const tsession_event_s *event) {
            FUZZ_REQUIRE(event->kind != TSESSION_FAULT);
        };
        config.session = &terminal;
        session_ = cli_shell_create(&config);
    }

    ~PipesCheck()
    {
        cli_shell_free(session_);
        cli_shell_free(batch_);
        cli_set_free(set_);
        FUZZ_REQUIRE(open_files_ == 0);
    }

    PipesCheck(const PipesCheck &) = delete;
    PipesCheck &operator=(const PipesCheck &) = delete;

    // Filters whose patterns the model knows: all that passes is what the model lets pass.
    void compare(InputReader &in)
    {
        ModelRows rows = rows_;
        std::string line = "emit";
        bool is_json = false;
        for (int filters = in.below(4); filters > 0 && !is_json; filters--) {
            constexpr const char *names[] = {"include", "exclude", "begin", "section",
                                             "count",   "no-more", "json"};
            ModelFilter filter = {names[in.below(static_cast<int>(std::size(names)))], ""};
            is_json = filter.name == "json";
            line += " | " + filter.name;
            if (std::strchr("iebs", filter.name[0])) {
                filter.pattern = read_pattern(in);
                line += " " + quoted(filter.pattern);
            }
            if (!is_json && filter.name != "no-more")
                rows = filtered(rows, filter);
        }
        const int32_t result = run(line + " | save x", -1);
        FUZZ_REQUIRE(result == CLI_DONE && whole_ == 1);
        if (is_json)
            require_json(rows);
        else
            require_rows(rows);
        const bool is_filtered = line.find('|') != line.npos; // else a half row and cells share one
        if (is_plain(rows) && !is_json && is_filtered) {
            const std::string saved = saved_;
            run(line, -1);
            FUZZ_REQUIRE(written_ == saved);
        }
    }

    // Any pattern: a row has it or has it not; files that take no more, and no memory.
    void divide(InputReader &in)
    {
        const std::string pattern = quoted(std::string(in.take_text(60)));
        const int fail_after = in.byte();
        const int room = in.byte();
        const int32_t included = run("emit | include " + pattern + " | save x", -1);
        const std::string with = saved_;
        const std::string why = reason();
        FUZZ_REQUIRE(run("emit | exclude " + pattern + " | save x", -1) == included);
        FUZZ_REQUIRE(why == reason() && (included == CLI_DONE) == why.empty());
        if (included == CLI_DONE)
            require_divided(with, saved_);
        room_ = static_cast<size_t>(room);
        const int32_t result = run("emit | json | save x force", fail_after);
        FUZZ_REQUIRE((result == CLI_DONE) == (whole_ == 1));
        FUZZ_REQUIRE(saved_.size() <= room_);
        room_ = SIZE_MAX;
    }

    // A person types the line, and anything else while it goes on.
    void type(InputReader &in)
    {
        tsession_s *s = cli_shell_session(session_);
        tsession_start(s);
        step_ = 0;
        const std::string line = "emit | include " + quoted(std::string(in.take_text(20))) + "\r";
        tsession_input(s, line.data(), line.size());
        while (!in.is_empty() && !tsession_is_closed(s)) {
            const std::string_view keys = in.take_text(3);
            if (tsession_wait(s) == 0)
                tsession_time_out(s);
            step_ = step_ == steps_.size() ? 0 : step_;
            tsession_input(s, keys.data(), keys.size());
        }
    }

  private:
    struct Step {
        char kind; // 'p'rint, 't'able, 'm'ore: the function is called again
        std::string text, number;
    };

    static std::string without_end(std::string text)
    {
        std::replace(text.begin(), text.end(), '\0', '0');
        return text;
    }

    static std::string printable(std::string_view bytes)
    {
        std::string text(bytes);
        for (char &c : text)
            c = static_cast<char>(' ' + static_cast<uint8_t>(c) % 95);
        return text;
    }

    void read_script(InputReader &in)
    {
        std::string begun;
        bool has_begun = false;
        bool has_title = false;
        const auto end_row = [&] {
            if (has_begun)
                rows_.push_back({begun, false, "", "", false});
            begun.clear();
            has_begun = false;
        };
        for (int steps = in.below(12); steps > 0; steps--) {
            const int kind = in.below(8);
            if (kind == 0) {
                steps_.push_back({'m', "", ""});
            } else if (kind < 6) {
                std::string text = without_end(std::string(in.take_text(40)));
                for (int doubled = kind == 5 ? in.below(8) : 0; doubled > 0; doubled--)
                    text += text;
                steps_.push_back({'p', text, ""});
                for (const char c : text) {
                    has_begun = true;
                    if (c == '\n')
                        end_row();
                    else
                        begun += c;
                }
            } else {
                end_row();
                if (!has_title)
                    rows_.push_back({"name      n", true, "name", "n", true});
                has_title = true;
                const std::string name = printable(in.take_text(10));
                const std::string number =
                    kind == 6 ? std::to_string(in.byte()) : printable(in.take_text(5));
                steps_.push_back({'t', name, number});
                const size_t gap = name.size() < 6 ? 8 - name.size() : 2;
                const size_t inset = number.size() < 3 ? 3 - number.size() : 0;
                rows_.push_back(
                    {name + std::string(gap + inset, ' ') + number, false, name, number, true});
            }
        }
        end_row();
    }

    static int32_t emit(cli_call_s *call, void *)
    {
        static constexpr cli_column_s columns[] = {{"name", 6, 0}, {"n", 3, CLI_NUMBER}};
        auto &check = *static_cast<PipesCheck *>(cli_shell_user(cli_call_shell(call)));
        while (check.step_ < check.steps_.size()) {
            const Step &step = check.steps_[check.step_++];
            if (step.kind == 'm')
                return CLI_MORE;
            if (step.kind == 'p') {
                cli_print(call, "%s", step.text.c_str());
                continue;
            }
            cli_columns(call, columns, std::size(columns));
            cli_cell(call, "%s", step.text.c_str());
            cli_cell(call, "%s", step.number.c_str());
        }
        return CLI_DONE;
    }

    // A part of a row that there is, or nearly, with what the model knows around it.
    std::string read_pattern(InputReader &in) const
    {
        std::string pattern = "a";
        if (!rows_.empty()) {
            const std::string &row = rows_[in.byte() % rows_.size()].text;
            const std::string part =
                row.substr(in.byte() % (row.size() + 1), static_cast<size_t>(in.below(4)) + 1);
            pattern = part.empty() ? pattern : part;
        }
        for (char &c : pattern) {
            const bool is_letter = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == ' ';
            c = is_letter ? c : 'z';
        }
        const int shape = in.byte();
        if (shape & 1)
            pattern.insert(pattern.size() - 1, "x*");
        return (shape & 2 ? "^" : "") + pattern + (shape & 4 ? "$" : "");
    }

    static std::string quoted(const std::string &text)
    {
        std::string out = "\"";
        for (const char c : text) {
            if (c == '"' || c == '\\')
                out += '\\';
            out += c >= 0 && c < ' ' ? '.' : c;
        }
        return out + "\"";
    }

    int32_t run(const std::string &line, int fail_after)
    {
        step_ = 0;
        whole_ = 0;
        saved_.clear();
        written_.clear();
        tracked_fail_after(fail_after > 0 ? fail_after : -1);
        const int32_t result = cli_shell_run(batch_, line.c_str());
        tracked_fail_after(-1);
        FUZZ_REQUIRE(result == CLI_DONE || result == CLI_FAILED);
        FUZZ_REQUIRE(open_files_ == 0);
        return result;
    }

    // Why a line was refused; empty: it was not.
    std::string reason() const
    {
        return written_.substr(std::min(written_.rfind("\n% "), written_.size()));
    }

    void require_rows(const ModelRows &rows) const
    {
        std::string all;
        for (const ModelRow &row : rows)
            all += row.text + "\n";
        FUZZ_REQUIRE(saved_ == all);
    }

    void require_json(ModelRows rows) const
    {
        std::erase_if(rows, [](const ModelRow &row) { return row.is_title; });
        const std::vector<JsonReader::Entry> entries = JsonReader(saved_).read();
        FUZZ_REQUIRE(entries.size() == rows.size());
        for (size_t i = 0; i < rows.size(); i++) {
            FUZZ_REQUIRE(entries[i].is_object == rows[i].is_cells);
            if (rows[i].is_cells)
                FUZZ_REQUIRE(entries[i].name == codes_of(rows[i].name) &&
                             entries[i].number == codes_of(rows[i].number));
            else
                FUZZ_REQUIRE(entries[i].text == codes_of(rows[i].text));
        }
    }

    // Each row is in one of both, and they are in the same order.
    void require_divided(std::string_view with, std::string_view without) const
    {
        const auto take = [](std::string_view &from, const std::string &row) {
            const bool is_there = from.substr(0, row.size()) == row;
            from.remove_prefix(is_there ? row.size() : 0);
            return is_there;
        };
        for (const ModelRow &row : rows_)
            FUZZ_REQUIRE(take(with, row.text + "\n") || take(without, row.text + "\n"));
        FUZZ_REQUIRE(with.empty() && without.empty());
    }

    static bool is_plain(const ModelRows &rows)
    {
        return std::all_of(rows.begin(), rows.end(), [](const ModelRow &row) {
            return std::all_of(row.text.begin(), row.text.end(),
                               [](char c) { return c >= ' ' && c < 0x7f; });
        });
    }

    static void *begin_file(cli_shell_s *, void *user, const char *, int32_t, const char **)
    {
        auto *check = static_cast<PipesCheck *>(user);
        check->open_files_++;
        return check;
    }

    static int32_t write_file(void *file, const char *bytes, size_t count, const char **)
    {
        auto *check = static_cast<PipesCheck *>(file);
        FUZZ_REQUIRE(check->open_files_ == 1);
        if (count > check->room_ - check->saved_.size())
            return -1;
        check->saved_.append(bytes, count);
        return 0;
    }

    static int32_t end_file(void *file, int32_t is_whole, const char **)
    {
        auto *check = static_cast<PipesCheck *>(file);
        check->open_files_--;
        check->whole_ += is_whole ? 1 : 0;
        return 0;
    }

    static constexpr cli_command_s emit_row = {"emit", "rows", emit, nullptr, 0, 0, nullptr};

    cli_set_s *set_;
    cli_save_s hooks_ = {};
    cli_shell_s *batch_ = nullptr;
    cli_shell_s *session_ = nullptr;
    std::vector<Step> steps_;
    ModelRows rows_;
    size_t step_ = 0; // of the function that is being called
    std::string written_, saved_;
    size_t room_ = SIZE_MAX;
    int open_files_ = 0;
    int whole_ = 0;
};

} // namespace varno_fuzz

#endif
