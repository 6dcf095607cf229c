#ifndef VARNO_TESTS_SCRIPT_H
#define VARNO_TESTS_SCRIPT_H

// Test scripts: tests/scripts/FAMILY_topic.t. A line beginning with ! names a
// case in a sentence, a line in CAPITALS acts, a line in lower case expects; #
// begins a comment line. Every event an act brings about must be expected, in
// order, before the next act; a state (what a row shows) may be asked for at any
// time. Each case starts on a fresh driver.

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varno_test {

// One family's side of its scripts.
class ScriptDriver {
  public:
    virtual ~ScriptDriver() = default;

    // Performs an act and reports what it brought about through `happened`.
    virtual void act(std::string_view verb, std::string_view rest) = 0;

    // Answers an expectation that asks for a state; none: the word is an event.
    virtual std::optional<std::string> state(std::string_view) { return std::nullopt; }

    // The bytes of an act that arrive as a stream, so that the case must come out
    // the same wherever the stream is cut; none: the act is no stream.
    virtual std::optional<std::string> stream(std::string_view, std::string_view)
    {
        return std::nullopt;
    }

    // Feeds a part of a stream; what is not used is kept and fed again before
    // the next part.
    virtual void feed(std::string_view) {}

    // What came out of all acts so far, merged so that cuts cannot show.
    virtual std::string outcome() { return {}; }

    std::vector<std::string> take_events();

  protected:
    void happened(std::string event) { events_.push_back(std::move(event)); }

  private:
    std::vector<std::string> events_;
};

using MakeDriver = std::function<std::unique_ptr<ScriptDriver>()>;

// Registers every case of every script of the family as a test of its own, named
// by file and line. A case with the line `cuts differ: REASON` is exempt from the
// comparison of cuts.
void register_scripts(const std::filesystem::path &folder, std::string_view family,
                      const MakeDriver &make_driver);

} // namespace varno_test

#endif
