#include "session_driver.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "session_host.h"
#include "spelling.h"

#include <varno/platform_default.h>

namespace varno_test {
namespace {

std::vector<std::string> words_of(std::string_view rest)
{
    std::istringstream stream{std::string(rest)};
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

// What an xterm sends for the keys.
std::string typed(std::string_view spelled)
{
    std::string bytes;
    for (const mkey_t key : keys_of(spelled)) {
        if (key <= 255)
            bytes.push_back(static_cast<char>(key));
        else
            bytes += std::string("\033[") + "ABDC"[VIRTKEY_UP - key];
    }
    return bytes;
}

class SessionDriver : public ScriptDriver {
  public:
    SessionDriver() { assert_set_handler(tsession_assertion_handler, nullptr); }
    ~SessionDriver() override { assert_set_handler(nullptr, nullptr); }

    void act(std::string_view verb, std::string_view rest) override
    {
        bells_ = 0;
        shown_.clear();
        const auto bytes = stream(verb, rest);
        if (bytes)
            feed(*bytes);
        else if (verb == "SESSION")
            open(words_of(rest));
        else if (verb == "WRITE")
            write(bytes_of(rest));
        else if (verb == "CLIENT") // shows by itself
            host_->terminal().feed(bytes_of(rest));
        else if (verb == "TIMEOUT")
            tsession_time_out(session());
        else if (verb == "RESIZE")
            resize(words_of(rest));
        else if (verb == "PROMPT")
            tsession_set_prompt(session(), bytes_of(rest).c_str());
        else if (verb == "WRITABLE")
            set_writable(rest == "1");
        else if (verb == "ASK")
            tsession_ask(session(), bytes_of(rest).c_str(), 0, nullptr, nullptr);
        else if (verb == "PAGE")
            host_->begin_long();
        else if (verb == "LATER")
            host_->is_late = rest == "1";
        else if (verb == "WAKE")
            tsession_wake(session());
        else if (verb == "CANCEL")
            tsession_cancel(session());
        else if (verb == "WORK")
            host_->work();
        else if (verb == "ONCE")
            host_->hand_over(typed(rest));
        else if (verb == "UNPAGED")
            tsession_set_paged(session(), 0);
        else if (verb == "ROWS")
            host_->long_rows = std::stoi(std::string(rest));
        else if (verb == "FREE-KEYS")
            host_->takes_free_keys = rest == "1";
        else if (verb == "CLOSE")
            tsession_close(session());
        else
            throw std::invalid_argument(std::string(verb));
        note();
    }

    std::optional<std::string> state(std::string_view word) override
    {
        if (word == "row")
            return spell(host_->row());
        if (word == "sent")
            return spell(shown_);
        if (word.starts_with("above"))
            return spell(row_above(word.size() > 5 ? word[5] - '0' : 1));
        if (word == "wait")
            return std::to_string(tsession_wait(session()));
        if (word == "bell")
            return std::to_string(bells_);
        if (word == "wants")
            return std::to_string(tsession_wants_input(session()));
        if (word == "closed")
            return std::to_string(tsession_is_closed(session()));
        return std::nullopt;
    }

    std::optional<std::string> stream(std::string_view verb, std::string_view rest) override
    {
        if (verb == "INPUT")
            return typed(rest);
        if (verb == "HEX")
            return bytes_of_hex(rest);
        return std::nullopt;
    }

    void feed(std::string_view part) override
    {
        host_->input(part);
        note_outcome();
    }

    std::string outcome() override { return outcome_ + host_->terminal().text() + host_->row(); }

  private:
    tsession_s *session() { return host_->session(); }

    void open(const std::vector<std::string> &words)
    {
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.transport = words.at(0) == "plain" ? TSESSION_PLAIN : TSESSION_TELNET;
        config.columns = std::stoi(words.at(1));
        config.terminal_type = words.at(2).c_str();
        config.graph = SessionHost::graph();
        host_ = std::make_unique<SessionHost>(config, words.at(0) == "opening"
                                                          ? SessionHost::Begin::at_the_opening
                                                          : SessionHost::Begin::at_the_prompt);
    }

    void write(const std::string &text) { tsession_write(session(), text.data(), text.size()); }

    void set_writable(bool is_writable)
    {
        tsession_set_writable(session(), is_writable);
        host_->work();
    }

    void resize(const std::vector<std::string> &words)
    {
        host_->terminal().resize(std::stoi(words.at(1)), std::stoi(words.at(0)));
        tsession_resize(session(), std::stoi(words.at(0)), std::stoi(words.at(1)));
    }

    void note()
    {
        note_outcome();
        for (std::string &event : noted_)
            happened(std::move(event));
        noted_.clear();
    }

    void note_outcome()
    {
        for (const std::string &event : host_->take_events()) {
            outcome_ += event + "\n";
            noted_.push_back(event);
        }
        const std::string sent = host_->take_sent();
        bells_ += std::count(sent.begin(), sent.end(), '\a');
        note_replies(sent);
        shown_ += without_commands(sent);
    }

    // Telnet's commands among what was sent; the opening and data are left out.
    void note_replies(const std::string &sent)
    {
        for (size_t at = 0; (at = sent.find('\xff', at)) != sent.npos && at + 2 < sent.size();) {
            const auto command = static_cast<unsigned char>(sent[at + 1]);
            if (command >= 251 && command <= 254 && is_opened_)
                noted_.push_back("reply " + std::to_string(command) + " " +
                                 std::to_string(static_cast<unsigned char>(sent[at + 2])));
            at += command == 255 ? 2 : 3;
        }
        is_opened_ = true;
    }

    // What the client shows of it. A call sends whole commands.
    static std::string without_commands(const std::string &sent)
    {
        std::string shown;
        for (size_t at = 0; at < sent.size(); at++) {
            if (sent[at] != '\xff')
                shown += sent[at];
            else if (sent[++at] == '\xfa')
                at = sent.find("\xff\xf0", at) + 1;
            else
                at++;
        }
        return shown;
    }

    std::string row_above(int rows)
    {
        const int row = host_->terminal().cursor_row() - rows;
        const std::string text = row < 0 ? "" : host_->terminal().row(row);
        return text.substr(0, text.find_last_not_of(' ') + 1);
    }

    std::unique_ptr<SessionHost> host_;
    std::vector<std::string> noted_;
    std::string outcome_;
    std::string shown_; // what the last act sent, without telnet's commands
    bool is_opened_ = false;
    long bells_ = 0; // that the last act brought about
};

} // namespace

std::unique_ptr<ScriptDriver> make_session_driver()
{
    return std::make_unique<SessionDriver>();
}

} // namespace varno_test
