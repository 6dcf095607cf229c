// What keys do: the named commands, the key sequences bound to their names, and who
// receives text.

#include <varno/prompt.h>

#include <cstring>

#include "contract.h"
#include "editor/insertion.h"

using namespace varno;

namespace {

constexpr char source_name[] = "prompt";

// The release routine of the trie's values.
void free_link(void *value, void *ctx)
{
    auto *clink = static_cast<prompt_clink_s *>(value);
    const auto *p = static_cast<prompt_s *>(ctx);
    VARNO_ASSERT(clink && p);
    if (clink->command) {
        VARNO_ASSERT(clink->command->refct > 0);
        clink->command->refct--;
    }
    tracked_free(clink, "prompt_clink_s");
}

} // namespace

int prompt_bind_insert(prompt_s *p, prompt_insert_fn char_fn, void *char_ctx,
                       prompt_insert_fn string_fn, void *string_ctx)
{
    VARNO_ASSERT(p);
    p->insert = {char_fn, char_ctx, string_fn, string_ctx};
    return 0;
}

int prompt_bind_command(prompt_s *p, const char *invoke_name, prompt_command_fn callback,
                        void *context)
{
    VARNO_ASSERT(p && invoke_name);
    // Text is no command: it comes with keys, which a command does not get.
    if (std::strcmp(invoke_name, insert_invocation) == 0 ||
        std::strcmp(invoke_name, "insert-string") == 0)
        return -1;
    prompt_command_s *t = prompt_get_command(p, invoke_name);
    if (!t) {
        t = static_cast<prompt_command_s *>(
            tracked_calloc(1, sizeof(prompt_command_s), "prompt_command_s"));
        if (!t)
            return -1;
        t->inv.invoke_name = tracked_strdup(invoke_name, "BYTE");
        if (!t->inv.invoke_name) {
            tracked_free(t, "prompt_command_s");
            return -1;
        }
    }
    t->inv.callback = callback;
    t->inv.context = context;
    // A record that was found keeps its address, since bindings hold it, and goes to the
    // head like a new one without being unlinked from where it stands. So a name that is
    // registered twice makes a ring of the list: the name is still found, with the new
    // callback, but a look-up of a name that is not in the ring never ends. Hosts
    // register each name once; to start over they call prompt_init_commands.
    t->next = p->commands;
    if (t->next)
        t->next->pprev = &t->next;
    p->commands = t;
    t->pprev = &p->commands;
    return 0;
}

prompt_command_s *prompt_get_command(prompt_s *p, const char *invoke_name)
{
    VARNO_ASSERT(p && invoke_name);
    for (prompt_command_s *t = p->commands; t; t = t->next) {
        VARNO_ASSERT(t->inv.invoke_name);
        if (std::strcmp(t->inv.invoke_name, invoke_name) == 0)
            return t;
    }
    return nullptr;
}

int prompt_bind_keys(prompt_s *p, const char *invoke_name, const mkey_t *s, int nkeys,
                     void *argument)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(s);
    // A trie that was made for a binding that then fails stays: an empty one claims no
    // key, so it changes nothing for the text.
    if (!p->keys)
        p->keys = mc_root_alloc();
    if (!p->keys)
        return -1;
    prompt_command_s *command = prompt_get_command(p, invoke_name);
    if (!command)
        return -1;
    auto *link =
        static_cast<prompt_clink_s *>(tracked_calloc(1, sizeof(prompt_clink_s), "prompt_clink_s"));
    if (!link)
        return -1;
    link->command = command;
    link->argument = argument;
    if (mc_addstring(p->keys, s, nkeys, 0, link) < 0) {
        tracked_free(link, "prompt_clink_s");
        return -1;
    }
    command->refct++;
    return 0;
}

void prompt_init_keys(prompt_s *p)
{
    VARNO_ASSERT(p);
    // The prompt lets go first: an assertion in free_link may leave by an exception, and
    // the prompt must not then hold a trie that is released in part.
    mc_node_s *keys = p->keys;
    p->keys = nullptr;
    mc_root_free(keys, free_link, p);
}

void prompt_init_commands(prompt_s *p)
{
    VARNO_ASSERT(p);
    // Bindings first: each holds a count of its command.
    prompt_init_keys(p);
    p->insert = {};
    while (p->commands) {
        prompt_command_s *temp = p->commands;
        VARNO_ASSERT(temp->refct == 0);
        p->commands = temp->next;
        if (temp->next)
            temp->next->pprev = &p->commands;
        tracked_free(temp->inv.invoke_name, "BYTE");
        tracked_free(temp, "prompt_command_s");
    }
}
