#include "editor_driver.h"

#include "editor.h"
#include "spelling.h"

namespace varno_test {
namespace {

class EditorDriver : public ScriptDriver {
  public:
    void act(std::string_view verb, std::string_view rest) override
    {
        if (verb == "SESSION")
            editor_ = std::make_unique<Editor>(std::stoi(std::string(rest)));
        else if (verb == "PROMPT")
            set_prompt(bytes_of(rest));
        else if (verb == "GUARDS")
            set_guards(rest);
        else if (verb == "FEED")
            feed_keys(rest);
        else if (verb == "KEYS")
            feed_keys(rest), redraw();
        else if (verb == "REDRAW")
            redraw();
        else if (verb == "FULL")
            prompt_finish_output(editor_->p());
        else
            throw std::invalid_argument(std::string(verb));
    }

    std::optional<std::string> state(std::string_view word) override
    {
        if (word == "row")
            return spell(editor_->row());
        if (word == "line")
            return spell(editor_->line());
        if (word == "offset")
            return std::to_string(editor_->p()->display_offset);
        return std::nullopt;
    }

  private:
    void set_prompt(const std::string &prompt)
    {
        prompt_set_prompt_empty(editor_->p(), prompt.c_str());
        prompt_set_prompt_normal(editor_->p(), prompt.c_str());
    }

    void set_guards(std::string_view both)
    {
        const size_t blank = both.find(' ');
        prompt_set_guard_left(editor_->p(), bytes_of(both.substr(0, blank)).c_str());
        prompt_set_guard_right(editor_->p(), bytes_of(both.substr(blank)).c_str());
    }

    void feed_keys(std::string_view keys)
    {
        editor_->feed(keys_of(keys));
        const std::string written = editor_->take_standard_output();
        if (!written.empty())
            happened("std " + spell(written));
    }

    void redraw()
    {
        const std::string printed = editor_->redraw();
        if (!printed.empty())
            happened("out " + spell(printed));
    }

    std::unique_ptr<Editor> editor_ = std::make_unique<Editor>();
};

} // namespace

std::unique_ptr<ScriptDriver> make_editor_driver()
{
    return std::make_unique<EditorDriver>();
}

} // namespace varno_test
