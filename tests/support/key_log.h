#ifndef VARNO_TESTS_KEY_LOG_H
#define VARNO_TESTS_KEY_LOG_H

// A keyboard of the session library and what it handed over, as one text: typed
// characters as they are, other keys as <27> or <up>, pasted text in {braces} with
// <enter> for its line ends. How the events were grouped does not show.

#include "input/keyboard.h"

#include <varno/termcap_util.h>

#include <cctype>
#include <functional>
#include <string>
#include <string_view>

namespace varno_test {

inline std::string key_text(mkey_t key)
{
    if (key >= ' ' && key <= '~' && key != '<' && key != '{')
        return std::string(1, static_cast<char>(key));
    switch (key) {
    case VIRTKEY_RETURN:
        return "<cr>";
    case VIRTKEY_ESC:
        return "<esc>";
    case varno::key_delete:
        return "<delete>";
    case varno::key_word_left:
        return "<word-left>";
    case varno::key_word_right:
        return "<word-right>";
    default:
        break;
    }
    const termkey_desc_s *row = key > 0xff ? termkey_get_vkey_desc(key) : nullptr;
    if (!row)
        return "<" + std::to_string(key) + ">";
    std::string name = row->name + std::string_view("VIRTKEY_").size();
    for (char &c : name)
        c = static_cast<char>(std::tolower(c));
    return "<" + name + ">";
}

struct KeyLog {
    explicit KeyLog(const char *type = "xterm")
    {
        keyboard.begin({this, take_keys, take_text, take_enter}, varno::find_terminal_type(type));
    }
    KeyLog(const KeyLog &) = delete;
    KeyLog &operator=(const KeyLog &) = delete;

    KeyLog &feed(std::string_view bytes)
    {
        keyboard.consume(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size());
        return *this;
    }

    std::string take()
    {
        const std::string taken = log;
        log.clear();
        return taken;
    }

    static void take_keys(void *user, const mkey_t *keys, size_t count)
    {
        auto *self = static_cast<KeyLog *>(user);
        for (size_t i = 0; i < count; i++)
            self->log += key_text(keys[i]);
        self->finish_event(count);
    }

    static void take_text(void *user, const unsigned char *bytes, size_t count)
    {
        auto *self = static_cast<KeyLog *>(user);
        self->add_pasted(std::string(reinterpret_cast<const char *>(bytes), count));
        self->finish_event(count);
    }

    static void take_enter(void *user)
    {
        auto *self = static_cast<KeyLog *>(user);
        self->add_pasted("<enter>");
        self->finish_event(1);
    }

    varno::Keyboard keyboard;
    std::string log;
    int events = 0;
    bool has_empty_event = false;
    std::function<void()> on_event;

  private:
    void add_pasted(const std::string &text)
    {
        if (!log.empty() && log.back() == '}')
            log.pop_back();
        else
            log += '{';
        log += text + '}';
    }

    void finish_event(size_t count)
    {
        events++;
        has_empty_event |= count == 0;
        if (on_event)
            on_event();
    }
};

} // namespace varno_test

#endif
