// The list of acts of a program, in link order, and the account of their output.

#include "acts.h"

namespace varno_bench {
namespace {

constinit const Topic *first = nullptr;
constinit const Topic **tail = &first;

} // namespace

constinit Output output = {};

Topic::Topic(std::span<const ActRow> topic_rows) : rows(topic_rows)
{
    *tail = this;
    tail = &next;
}

const Topic *first_topic()
{
    return first;
}

} // namespace varno_bench
