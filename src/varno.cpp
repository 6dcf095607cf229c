// The library's version, and its place in the platform's trace service. Whether
// anybody listens is the platform's affair.

#include <varno/varno.h>

#include <varno/platform.h>

int g_varno_trace_module_id = 0;

const char *varno_version(void)
{
    return VARNO_VERSION_TEXT;
}

int varno_trace_init(void)
{
    const int id = trace_register_module("varno");
    if (id <= 0)
        return -1;
    g_varno_trace_module_id = id;
    return 0;
}
