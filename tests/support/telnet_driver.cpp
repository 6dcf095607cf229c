#include "telnet_driver.h"

#include "spelling.h"
#include "telnet_host.h"

#include <stdexcept>

namespace varno_test {
namespace {

class TelnetDriver : public ScriptDriver {
  public:
    void act(std::string_view verb, std::string_view rest) override
    {
        if (const auto bytes = stream(verb, rest))
            present(*bytes);
        else if (verb == "AGAIN")
            present({});
        else if (verb == "BEHIND")
            host_.byte_after = static_cast<unsigned char>(bytes_of_hex(rest).at(0));
        else if (verb == "QUIET")
            quiet_ = true;
        else
            throw std::invalid_argument("no act of telnet scripts: " + std::string(verb));
    }

    std::optional<std::string> state(std::string_view word) override
    {
        if (word == "kept")
            return spell(host_.kept());
        return std::nullopt;
    }

    std::optional<std::string> stream(std::string_view verb, std::string_view rest) override
    {
        if (verb == "BYTES")
            return bytes_of_hex(rest);
        if (verb == "TEXT")
            return bytes_of(rest);
        return std::nullopt;
    }

    void feed(std::string_view bytes) override { present(bytes); }

    std::string outcome() override
    {
        host_.settle();
        return host_.outcome();
    }

  private:
    void present(std::string_view bytes)
    {
        const auto used = host_.present(bytes);
        for (const TelnetEvent &event : host_.take_events()) {
            if (!quiet_ || event.kind != "trace")
                happened(as_script(event));
        }
        if (used)
            happened("used " + std::to_string(*used));
    }

    TelnetHost host_;
    bool quiet_ = false;
};

} // namespace

std::unique_ptr<ScriptDriver> make_telnet_driver()
{
    return std::make_unique<TelnetDriver>();
}

} // namespace varno_test
