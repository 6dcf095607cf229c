// The session library's rule, for texts that become part of a row or leave by other
// ways.

#include "clean_text.h"

#include <varno/tsession.h>

namespace device {

// A byte that is no UTF-8 becomes one question mark, so no text grows.
std::string cleaned(const std::string &text)
{
    std::string clean(text.size() + 1, '\0');
    tsession_clean(clean.data(), clean.size(), text.c_str());
    clean.resize(std::char_traits<char>::length(clean.c_str()));
    return clean;
}

} // namespace device
