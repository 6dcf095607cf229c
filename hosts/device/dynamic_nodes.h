#ifndef VARNO_DEVICE_DYNAMIC_NODES_H
#define VARNO_DEVICE_DYNAMIC_NODES_H

// Keywords of the graph that follow a list which changes at run time.

#include <varno/cli_parse.h>

#include <cstddef>
#include <span>

namespace device {

// A keyword and what help shows beside it.
struct Choice {
    const char *name;
    const char *help;
};

class DynamicNodes {
  public:
    // The nodes come after one that stays, and lead to the same next level.
    DynamicNodes(cli_pnode_s &before, cli_pnode_s &child);
    ~DynamicNodes();
    DynamicNodes(const DynamicNodes &) = delete;
    DynamicNodes &operator=(const DynamicNodes &) = delete;

    // Makes the nodes what the list says, in its order. What is taken out of the graph
    // stays in memory, for the records of a match may point at it.
    // Returns: false without memory; the graph has only the first of them then.
    bool follow(std::span<const Choice> choices);

    // Releases what was taken out. No record and no walk may point there any more.
    void release_removed();

  private:
    bool is_same(std::span<const Choice> choices) const;
    void remove_all();

    cli_pnode_s *const before_;
    cli_pnode_s *const child_;
    cli_pnode_s removed_ = {};
    size_t count_ = 0;
};

} // namespace device

#endif
