// The key-sequence trie under the default key map: the two searches that every key
// costs. The prompt leaves its trie as the bindings made it ("as_bound"); "optimized"
// is the same trie after mc_optimize. 1,000 searches of the same keys in a pass.

#include "acts.h"
#include "host.h"

#include <vector>

namespace varno_bench {
namespace {

constexpr int searches = 1000;
constexpr mkey_t ctrl_b = 2; // "move-character-back"
constexpr mkey_t esc = VIRTKEY_ESC;

enum class Order { as_bound, optimized };

class TrieAct : public Act {
  public:
    TrieAct(Order order, std::vector<mkey_t> keys) : keys_(std::move(keys)), p_(open_prompt())
    {
        if (order == Order::optimized)
            mc_optimize(p_->keys);
        operations = searches;
    }

    ~TrieAct() override { close_prompt(p_); }

  protected:
    const mc_node_s *trie() const { return p_->keys; }
    mc_node_s *trie() { return p_->keys; }
    int nkeys() const { return static_cast<int>(keys_.size()); }

    const std::vector<mkey_t> keys_;

  private:
    prompt_s *p_;
};

// Asks for what prompt_consume asks for.
class ExactAct : public TrieAct {
  public:
    ExactAct(Order order, std::vector<mkey_t> keys, const char *command)
        : TrieAct(order, std::move(keys)), command_(command)
    {}

    void run() override
    {
        mc_node_s *root = trie();
        const mkey_t *keys = keys_.data();
        const int count = nkeys();
        for (int i = 0; i < searches; i++)
            mc_search_exact(root, keys, count, 0, &complete_, &len_, nullptr, nullptr, &match_,
                            &match_len_);
    }

    const char *problem() override
    {
        if (!command_)
            return complete_ || match_ || len_ != 0 ? "found a binding that is not there" : nullptr;
        if (!complete_ || len_ != nkeys())
            return "the binding was not found";
        const auto *link = static_cast<const prompt_clink_s *>(mc_node_value(complete_));
        const std::string_view name = link->command->inv.invoke_name;
        return name == command_ ? nullptr : "found another binding";
    }

  private:
    const char *command_; // NULL: no binding begins with the keys
    mc_node_s *complete_ = nullptr;
    mc_node_s *match_ = nullptr;
    int32_t len_ = -1;
    int32_t match_len_ = 0;
};

// Letters that begin no binding, then a key that does.
class FirstBoundAct : public TrieAct {
  public:
    FirstBoundAct(Order order, size_t letters) : TrieAct(order, letters_then_bound(letters)) {}

    void run() override
    {
        const mc_node_s *root = trie();
        const mkey_t *keys = keys_.data();
        const int count = nkeys();
        for (int i = 0; i < searches; i++)
            at_ = mc_nodestrstr(root, keys, count);
    }

    const char *problem() override
    {
        return at_ == nkeys() - 1 ? nullptr : "the bound key was not found";
    }

  private:
    static std::vector<mkey_t> letters_then_bound(size_t letters)
    {
        std::vector<mkey_t> keys;
        for (size_t i = 0; i < letters; i++)
            keys.push_back(static_cast<mkey_t>('a' + i));
        keys.push_back(ctrl_b);
        return keys;
    }

    int at_ = -1;
};

template <Order order>
std::unique_ptr<Act> exact_ctrl_b()
{
    return std::make_unique<ExactAct>(order, std::vector<mkey_t>{ctrl_b}, "move-character-back");
}

template <Order order>
std::unique_ptr<Act> exact_esc_b()
{
    return std::make_unique<ExactAct>(order, std::vector<mkey_t>{esc, 'b'}, "move-word-back");
}

// No sequence goes on from ESC with an x.
template <Order order>
std::unique_ptr<Act> exact_esc_x()
{
    return std::make_unique<ExactAct>(order, std::vector<mkey_t>{esc, 'x'}, nullptr);
}

template <Order order, size_t letters>
std::unique_ptr<Act> first_bound()
{
    return std::make_unique<FirstBoundAct>(order, letters);
}

// clang-format off
constexpr ActRow rows[] = {
    {"trie/exact_ctrl_b/as_bound",            exact_ctrl_b<Order::as_bound>},
    {"trie/exact_ctrl_b/optimized",           exact_ctrl_b<Order::optimized>},
    {"trie/exact_esc_b/as_bound",             exact_esc_b<Order::as_bound>},
    {"trie/exact_esc_b/optimized",            exact_esc_b<Order::optimized>},
    {"trie/exact_esc_x/as_bound",             exact_esc_x<Order::as_bound>},
    {"trie/exact_esc_x/optimized",            exact_esc_x<Order::optimized>},
    {"trie/bound_after_1_letter/as_bound",    first_bound<Order::as_bound, 1>},
    {"trie/bound_after_1_letter/optimized",   first_bound<Order::optimized, 1>},
    {"trie/bound_after_16_letters/as_bound",  first_bound<Order::as_bound, 16>},
    {"trie/bound_after_16_letters/optimized", first_bound<Order::optimized, 16>},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
