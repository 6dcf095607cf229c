// Calls outside of their preconditions, which end in an assertion and nothing else.

#include <string>

#include "contract_check.h"
#include "finding.h"
#include "input_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    varno_fuzz::InputReader in(data, size);
    varno_fuzz::ContractCheck contract;
    while (!in.is_empty()) {
        const size_t which = in.byte();
        const int a = varno_fuzz::read_number(in);
        const int b = varno_fuzz::read_number(in);
        const std::string text(in.take_until('\0'));
        const varno_fuzz::Arguments x = {a, b, text.starts_with("\xfe") ? nullptr : text.c_str()};
        if (which < 230)
            contract.call_editor(which, x);
        else if (which < 240)
            contract.redraw(which % 2 ? a : b & 127);
        else if (which < 248)
            varno_fuzz::call_telnet_parser(x);
        else
            varno_fuzz::call_decoder(x);
    }
    return 0;
}
