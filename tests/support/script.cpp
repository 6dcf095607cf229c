#include "script.h"

#include "spelling.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include <gtest/gtest.h>

namespace varno_test {
namespace {

struct ScriptLine {
    int number;
    std::string word;
    std::string rest;

    bool acts() const { return word[0] >= 'A' && word[0] <= 'Z'; }
};

struct ScriptCase {
    std::string file;
    int number;
    std::string name;
    bool cuts_differ = false;
    std::vector<ScriptLine> lines;
};

std::string trimmed(const std::string &text)
{
    const size_t first = text.find_first_not_of(" \t");
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool is_spelled(const std::string &text)
{
    return text.starts_with('"') || text.starts_with('<');
}

// Expected texts are compared in their canonical spelling.
ScriptLine line_of(int number, const std::string &text)
{
    const size_t blank = text.find(' ');
    ScriptLine line{number, text.substr(0, blank), {}};
    if (blank != text.npos)
        line.rest = trimmed(text.substr(blank));
    if (!line.acts() && is_spelled(line.rest))
        line.rest = spell(keys_of(line.rest));
    return line;
}

std::vector<ScriptCase> cases_of(const std::filesystem::path &path)
{
    std::vector<ScriptCase> cases;
    std::ifstream file(path);
    std::string raw;
    for (int number = 1; std::getline(file, raw); number++) {
        const std::string text = trimmed(raw);
        if (text.empty() || text[0] == '#')
            continue;
        if (text[0] == '!')
            cases.push_back({path.string(), number, trimmed(text.substr(1)), false, {}});
        else if (cases.empty())
            throw std::invalid_argument(path.string() + ": a line before the first case");
        else if (text.starts_with("cuts differ:"))
            cases.back().cuts_differ = true;
        else
            cases.back().lines.push_back(line_of(number, text));
    }
    return cases;
}

class ScriptTest : public testing::Test {
  public:
    ScriptTest(ScriptCase script, MakeDriver make_driver)
        : script_(std::move(script)), make_driver_(std::move(make_driver))
    {}

    void TestBody() override
    {
        driver_ = make_driver_();
        for (const ScriptLine &line : script_.lines) {
            if (line.acts())
                act(line);
            else
                expect(line);
        }
        nothing_else(script_.lines.empty() ? script_.number : script_.lines.back().number);
        if (!script_.cuts_differ)
            cuts_change_nothing(driver_->outcome());
    }

  private:
    void act(const ScriptLine &line)
    {
        nothing_else(line.number);
        driver_->act(line.word, line.rest);
        pending_ = driver_->take_events();
    }

    void expect(const ScriptLine &line)
    {
        const auto state = driver_->state(line.word);
        if (state) {
            if (*state != line.rest)
                fail(line.number, line.word + " " + line.rest, line.word + " " + *state);
            return;
        }
        const std::string wanted = line.rest.empty() ? line.word : line.word + " " + line.rest;
        if (pending_.empty()) {
            fail(line.number, wanted, "nothing");
            return;
        }
        if (pending_.front() != wanted)
            fail(line.number, wanted, pending_.front());
        pending_.erase(pending_.begin());
    }

    void nothing_else(int number)
    {
        for (const std::string &event : pending_)
            fail(number, "nothing more", event);
        pending_.clear();
    }

    void fail(int number, const std::string &wanted, const std::string &got)
    {
        ADD_FAILURE_AT(script_.file.c_str(), number)
            << "expected: " << wanted << "\n     got: " << got;
    }

    // Plays the case again with each of its streams cut at every place.
    void cuts_change_nothing(const std::string &uncut)
    {
        for (const ScriptLine &line : script_.lines) {
            const auto stream = line.acts() ? driver_->stream(line.word, line.rest) : std::nullopt;
            for (size_t at = 1; stream && at < stream->size(); at++) {
                const std::string cut = outcome_cut(line.number, at);
                EXPECT_EQ(cut, uncut)
                    << script_.file << ":" << line.number << ": cut at byte " << at;
                if (cut != uncut)
                    break;
            }
        }
    }

    std::string outcome_cut(int cut_line, size_t at)
    {
        const auto driver = make_driver_();
        for (const ScriptLine &line : script_.lines) {
            if (!line.acts())
                continue;
            if (line.number != cut_line) {
                driver->act(line.word, line.rest);
                continue;
            }
            const std::string stream = *driver->stream(line.word, line.rest);
            driver->feed(std::string_view(stream).substr(0, at));
            driver->feed(std::string_view(stream).substr(at));
        }
        return driver->outcome();
    }

    ScriptCase script_;
    MakeDriver make_driver_;
    std::unique_ptr<ScriptDriver> driver_;
    std::vector<std::string> pending_;
};

} // namespace

std::vector<std::string> ScriptDriver::take_events()
{
    return std::exchange(events_, {});
}

void register_scripts(const std::filesystem::path &folder, std::string_view family,
                      const MakeDriver &make_driver)
{
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(std::string(family) + "_") && name.ends_with(".t"))
            paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    for (const auto &path : paths) {
        for (const ScriptCase &script : cases_of(path)) {
            testing::RegisterTest(
                path.stem().string().c_str(), ("line " + std::to_string(script.number)).c_str(),
                nullptr, script.name.c_str(), script.file.c_str(), script.number,
                [=]() -> testing::Test * { return new ScriptTest(script, make_driver); });
        }
    }
}

} // namespace varno_test
