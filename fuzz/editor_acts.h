#ifndef VARNO_FUZZ_EDITOR_ACTS_H
#define VARNO_FUZZ_EDITOR_ACTS_H

// A person and a careful host at a line editor, as the bytes of an input tell it: bytes
// below 0x80 are keys, those from 0x80 on virtual keys and the host's acts.

#include <algorithm>
#include <string>
#include <vector>

#include "finding.h"
#include "input_reader.h"
#include "support/assertion.h"
#include "support/editor.h"

#include <varno/platform_default.h>

namespace varno_fuzz {

class EditorActs {
  public:
    explicit EditorActs(int width) : editor_(width) {}

    void act(InputReader &in)
    {
        const uint8_t byte = in.byte();
        if (byte < 0x80)
            type(byte);
        else if (byte < 0x80 + 20)
            type(VIRTKEY_UP - (byte - 0x80u));
        else if (byte < 0xc0)
            by_host(byte, in);
        else
            type(byte);
    }

    // After each redraw what the terminal shows is checked by the editor.
    void redraw()
    {
        editor_.feed(keys_);
        keys_.clear();
        editor_.settle_scroll();
        editor_.redraw();
        const pstate &ps = editor_.p()->ps;
        FUZZ_REQUIRE(ps.buf_used >= 0 && ps.buf_used <= 255 && ps.buf[ps.buf_used] == '\0');
        FUZZ_REQUIRE(ps.cursor_location >= 0 && ps.cursor_location <= ps.buf_used);
        if (editor_.row_is_complete())
            return;
        editor_.heal_row();
        editor_.redraw();
        FUZZ_REQUIRE(editor_.row_is_complete());
    }

  private:
    // The sample "execute" ends the process on "quit".
    void type(mkey_t key)
    {
        keys_.push_back(key == 'q' || key == 'Q' ? key + 1 : key);
        if (keys_.size() >= 300)
            redraw();
    }

    void by_host(uint8_t act, InputReader &in)
    {
        prompt_s *p = editor_.p();
        const int number = in.byte();
        switch (act) {
        case 0x94:
            return resize(20 + number % 237);
        case 0x95:
            return prompt_set_prompt_normal(p, text(in, p->width - 15).c_str());
        case 0x96:
            return prompt_set_prompt_empty(p, text(in, p->width - 15).c_str());
        case 0x97:
            return prompt_set_guard_left(p,
                                         std::string(static_cast<size_t>(number % 3), '<').c_str());
        case 0x98:
            return prompt_set_guard_right(
                p, std::string(static_cast<size_t>(number % 3), '>').c_str());
        case 0x99:
            prompt_history_add(p, number & 1);
            return prompt_history_reset_state(p);
        case 0x9a:
            p->history_limit = number % 5;
            return;
        case 0x9b:
            p->scroll_step = 1 + number % 8;
            return;
        case 0x9c: // a long stretch in a byte
            keys_.insert(keys_.end(), static_cast<size_t>(number),
                         'a' + static_cast<mkey_t>(number % 3));
            return;
        case 0x9d:
            keys_.insert(keys_.end(), static_cast<size_t>(number), VIRTKEY_LEFT);
            return;
        case 0x9e:
            keys_.insert(keys_.end(), static_cast<size_t>(number), VIRTKEY_RIGHT);
            return;
        case 0x9f:
            return editor_.heal_row();
        case 0xa0:
            return snapshot(number);
        case 0xa1:
            return without_memory(number);
        default:
            return redraw();
        }
    }

    void resize(int width)
    {
        redraw();
        prompt_set_prompt_normal(editor_.p(), ">");
        prompt_set_prompt_empty(editor_.p(), ">");
        editor_.resize(width);
    }

    static std::string text(InputReader &in, int most)
    {
        std::string text(in.take_text(std::min(most, 30)));
        for (char &c : text)
            c = static_cast<char>(' ' + static_cast<unsigned char>(c) % 95);
        return text;
    }

    // Takes the line aside, edits another, and puts it back.
    void snapshot(int number)
    {
        redraw();
        pstate saved;
        uint32_t flags = 0;
        prompt_snapshot(editor_.p(), &saved, &flags);
        const pstate other = varno_test::state_of(number & 1 ? "|" : "another one|");
        prompt_set_content(editor_.p(), &other);
        prompt_set_dirty(editor_.p());
        redraw();
        prompt_snapshot_restore(editor_.p(), &saved, flags | PROMPT_FLAG_DIRTY);
    }

    // The sample "execute" insists on memory for the history.
    void without_memory(int number)
    {
        tracked_fail_after(1 + number % 4);
        const auto failed = varno_test::assertion_of([&] { editor_.feed(keys_); });
        FUZZ_REQUIRE(!failed || failed->condition == "!prompt_history_add(p, 1)");
        prompt_history_add(editor_.p(), 1);
        tracked_fail_after(-1);
        keys_.clear();
        redraw();
    }

    varno_test::Editor editor_;
    std::vector<mkey_t> keys_;
};

} // namespace varno_fuzz

#endif
