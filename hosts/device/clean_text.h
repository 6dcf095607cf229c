#ifndef VARNO_DEVICE_CLEAN_TEXT_H
#define VARNO_DEVICE_CLEAN_TEXT_H

// Texts that are no constants of ours, made fit to be printed and logged.

#include <string>

namespace device {

// Returns: the text with question marks for control characters and for what is no UTF-8.
std::string cleaned(const std::string &text);

} // namespace device

#endif
