// The tables of keys and capabilities, and the two routines over the terminal's
// entry: with real terminal types, and with entries compiled for the test.

#include "support/assertion.h"

#include <varno/termcap_util.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

// The termcap interface, without its header's macros.
extern "C" int tgetent(char *unused, const char *type);
extern "C" short ospeed;

using namespace varno_test;

namespace {

struct Row {
    int32_t code;
    mkey_t key;
    const char *capability;
    const char *name;
};

// clang-format off
// ORDER vkeys
constexpr Row basic_rows[] = {
    { -3, 0xfffffffd, "ku", "VIRTKEY_UP"},
    { -4, 0xfffffffc, "kd", "VIRTKEY_DOWN"},
    { -5, 0xfffffffb, "kl", "VIRTKEY_LEFT"},
    { -6, 0xfffffffa, "kr", "VIRTKEY_RIGHT"},
    { -7, 0xfffffff9, "k1", "VIRTKEY_F1"},
    { -8, 0xfffffff8, "k2", "VIRTKEY_F2"},
    { -9, 0xfffffff7, "k3", "VIRTKEY_F3"},
    {-10, 0xfffffff6, "k4", "VIRTKEY_F4"},
    {-11, 0xfffffff5, "k5", "VIRTKEY_F5"},
    {-12, 0xfffffff4, "k6", "VIRTKEY_F6"},
    {-13, 0xfffffff3, "k7", "VIRTKEY_F7"},
    {-14, 0xfffffff2, "k8", "VIRTKEY_F8"},
    {-15, 0xfffffff1, "k9", "VIRTKEY_F9"},
    {-16, 0xfffffff0, "k;", "VIRTKEY_F10"},
    {-17, 0xffffffef, "F1", "VIRTKEY_F11"},
    {-18, 0xffffffee, "F2", "VIRTKEY_F12"},
    {-19, 0xffffffed, "@8", "VIRTKEY_ENTER"},
    {-20, 0xffffffec, "kh", "VIRTKEY_HOME"},
    {-21, 0xffffffeb, "@7", "VIRTKEY_END"},
    {-22, 0xffffffea, "kb", "VIRTKEY_BACKSPACE"},
};

constexpr Row intrinsic_rows[] = {
    { 13,  13, nullptr, "VIRTKEY_RETURN"},
    { 27,  27, nullptr, "VIRTKEY_ESC"},
    {127, 127, nullptr, "VIRTKEY_DELETE"},
    {  9,   9, nullptr, "VIRTKEY_HTAB"},
    { 32,  32, nullptr, "VIRTKEY_SPACE"},
    {  3,   3, nullptr, "VIRTKEY_INTR"},
    { 10,  10, nullptr, "VIRTKEY_NEWLINE"},
    { 12,  12, nullptr, "VIRTKEY_REFRESH"},
    {-23, 0xffffffe9, nullptr, "VIRTKEY_WILDCARD"},
};
// clang-format on

void expect_end(const termkey_desc_s &row)
{
    EXPECT_EQ(row.code, 0);
    EXPECT_EQ(row.capability, nullptr);
    EXPECT_EQ(row.name, nullptr);
}

void expect_rows(const Row *rows, size_t count, const termkey_desc_s *table)
{
    for (size_t i = 0; i < count; i++) {
        EXPECT_EQ(table[i].code, rows[i].code);
        EXPECT_STREQ(table[i].capability, rows[i].capability);
        EXPECT_STREQ(table[i].name, rows[i].name);
        EXPECT_EQ(static_cast<mkey_t>(table[i].code), rows[i].key);
        EXPECT_EQ(termkey_get_vkey_desc(rows[i].key), &table[i]) << rows[i].name;
    }
    expect_end(table[count]);
}

TEST(TermkeyTables, BasicKeysAreTheseRows)
{
    static_assert(std::size(basic_keys) == std::size(basic_rows) + 1);
    expect_rows(basic_rows, std::size(basic_rows), basic_keys);
}

TEST(TermkeyTables, IntrinsicKeysAreTheseRows)
{
    static_assert(std::size(intrinsic_keys) == std::size(intrinsic_rows) + 1);
    expect_rows(intrinsic_rows, std::size(intrinsic_rows), intrinsic_keys);
}

TEST(TermkeyTables, MacrosAreTheCodesOfTheirRows)
{
    const std::map<std::string, mkey_t> macros = {
        {"VIRTKEY_UP", VIRTKEY_UP},
        {"VIRTKEY_DOWN", VIRTKEY_DOWN},
        {"VIRTKEY_LEFT", VIRTKEY_LEFT},
        {"VIRTKEY_RIGHT", VIRTKEY_RIGHT},
        {"VIRTKEY_F1", VIRTKEY_F1},
        {"VIRTKEY_F2", VIRTKEY_F2},
        {"VIRTKEY_F3", VIRTKEY_F3},
        {"VIRTKEY_F4", VIRTKEY_F4},
        {"VIRTKEY_F5", VIRTKEY_F5},
        {"VIRTKEY_F6", VIRTKEY_F6},
        {"VIRTKEY_F7", VIRTKEY_F7},
        {"VIRTKEY_F8", VIRTKEY_F8},
        {"VIRTKEY_F9", VIRTKEY_F9},
        {"VIRTKEY_F10", VIRTKEY_F10},
        {"VIRTKEY_F11", VIRTKEY_F11},
        {"VIRTKEY_F12", VIRTKEY_F12},
        {"VIRTKEY_ENTER", VIRTKEY_ENTER},
        {"VIRTKEY_HOME", VIRTKEY_HOME},
        {"VIRTKEY_END", VIRTKEY_END},
        {"VIRTKEY_BACKSPACE", VIRTKEY_BACKSPACE},
        {"VIRTKEY_RETURN", VIRTKEY_RETURN},
        {"VIRTKEY_ESC", VIRTKEY_ESC},
        {"VIRTKEY_DELETE", VIRTKEY_DELETE},
        {"VIRTKEY_HTAB", VIRTKEY_HTAB},
        {"VIRTKEY_SPACE", VIRTKEY_SPACE},
        {"VIRTKEY_INTR", VIRTKEY_INTR},
        {"VIRTKEY_NEWLINE", VIRTKEY_NEWLINE},
        {"VIRTKEY_REFRESH", VIRTKEY_REFRESH},
        {"VIRTKEY_WILDCARD", VIRTKEY_WILDCARD},
    };
    ASSERT_EQ(macros.size(), std::size(basic_rows) + std::size(intrinsic_rows));
    for (const Row &row : basic_rows)
        EXPECT_EQ(macros.at(row.name), row.key) << row.name;
    for (const Row &row : intrinsic_rows)
        EXPECT_EQ(macros.at(row.name), row.key) << row.name;
}

TEST(TermkeyTables, CapabilitiesAreDistinctTermcapNames)
{
    std::set<std::string> seen;
    for (const Row &row : basic_rows) {
        EXPECT_EQ(std::strlen(row.capability), 2u);
        EXPECT_TRUE(seen.insert(row.capability).second) << row.capability;
    }
}

TEST(TermkeyTables, EveryOtherCodeHasNoDescription)
{
    std::set<mkey_t> known;
    for (const Row &row : basic_rows)
        known.insert(row.key);
    for (const Row &row : intrinsic_rows)
        known.insert(row.key);
    for (mkey_t code = 0xffffff00; code != 0x200; code++)
        EXPECT_EQ(termkey_get_vkey_desc(code) != nullptr, known.contains(code)) << code;
    for (const mkey_t code : {0x7fffffffu, 0x80000000u})
        EXPECT_EQ(termkey_get_vkey_desc(code), nullptr);
}

template <size_t count>
void expect_list(const char *const (&list)[count], const char *const (&wanted)[count])
{
    for (size_t i = 0; i < count; i++)
        EXPECT_STREQ(list[i], wanted[i]);
}

TEST(CapabilityLists, AreTheseInThisOrder)
{
    expect_list(term_init_caps, {"i1", "is", "i3", nullptr});
    expect_list(term_keys_caps, {"ks", nullptr});
    expect_list(term_reset_caps, {"ke", "r1", "rs", "r3", nullptr});
}

std::string emitted;

int collect(int c)
{
    emitted.push_back(static_cast<char>(c));
    return c;
}

std::string emit(const char *const *caps)
{
    emitted.clear();
    tcap_emit_caps(caps, collect);
    return emitted;
}

std::string emit_one(const char *capability)
{
    const char *const caps[] = {capability, nullptr};
    return emit(caps);
}

// Selects entries of the system's database and of one made for the test: keys of
// 126, 127 and 500 bytes, an empty one, padding, fixed and for each line, and
// strings to initialise and reset it.
class Termcap : public testing::Test {
  protected:
    static void SetUpTestSuite()
    {
        folder_ =
            std::filesystem::temp_directory_path() / ("varno-termcap-" + std::to_string(getpid()));
        std::filesystem::create_directories(folder_);
        std::ofstream(folder_ / "source")
            << "varno-test|entry made for a test,\n"
            << "\tkf1=" << std::string(126, 'a') << ", kf2=" << std::string(127, 'b')
            << ", kf3=" << std::string(500, 'c') << ", kf4=, kf5=pad$<1*/>,\n"
            << "\tis1=one, is2=two, smkx=keypad$<5>, rmkx=local, rs1=uno, rs3=tres,\n";
        const std::string tic = "tic -x -o '" + folder_.string() + "' '" +
                                (folder_ / "source").string() + "' 2>/dev/null";
        ASSERT_EQ(std::system(tic.c_str()), 0);
        const std::string search = folder_.string() + ":/usr/share/terminfo:/lib/terminfo";
        setenv("TERMINFO_DIRS", search.c_str(), 1);
        unsetenv("TERMINFO");
    }

    static void TearDownTestSuite() { std::filesystem::remove_all(folder_); }

    static void select(const char *type) { ASSERT_EQ(tgetent(nullptr, type), 1) << type; }

    std::string get(const char *capability)
    {
        char dst[129];
        std::memset(dst, '!', sizeof(dst));
        char *result = tcap_get_string(capability, dst);
        EXPECT_EQ(dst[128], '!') << "past the 128 bytes";
        if (!result) {
            EXPECT_EQ(std::string(dst, 129), std::string(129, '!')) << "untouched";
            return "none";
        }
        EXPECT_EQ(result, dst);
        EXPECT_NE(std::memchr(dst, 0, 128), nullptr);
        return dst;
    }

  private:
    static inline std::filesystem::path folder_;
};

struct CapabilityRow {
    const char *type;
    const char *capability;
    const char *bytes;
};

// clang-format off
constexpr CapabilityRow capability_rows[] = {
    {"vt100", "ku", "\033OA"},
    {"vt100", "kb", "\b"},
    {"xterm", "ku", "\033OA"},
    {"xterm", "kh", "\033OH"},
    {"xterm", "k1", "\033OP"},
    {"xterm", "F2", "\033[24~"},
    {"linux", "ku", "\033[A"},
    {"linux", "k1", "\033[[A"},
    {"linux", "@7", "\033[4~"},
    {"dumb",  "ku", "none"},
    {"dumb",  "ks", "none"},
    {"xterm", "zz", "none"},
    {"xterm", "",   "none"},
};
// clang-format on

TEST_F(Termcap, GetStringFetchesTheSelectedTerminalsCapability)
{
    for (const CapabilityRow &row : capability_rows) {
        select(row.type);
        EXPECT_EQ(get(row.capability), row.bytes) << row.type << " " << row.capability;
    }
}

TEST_F(Termcap, EveryKeyOfRealTerminalsCanBeFetched)
{
    for (const char *type : {"vt100", "xterm", "linux", "dumb"}) {
        select(type);
        for (const Row &row : basic_rows)
            EXPECT_NE(get(row.capability), "") << type << " " << row.name;
    }
}

TEST_F(Termcap, LongNameIsCut)
{
    select("xterm");
    const std::string name(5000, 'z');
    EXPECT_EQ(get(name.c_str()), "none");
}

TEST_F(Termcap, CapabilityOf126BytesFitsTheArea)
{
    select("varno-test");
    EXPECT_EQ(get("k1"), std::string(126, 'a'));
    EXPECT_EQ(emit_one("k1"), std::string(126, 'a'));
}

TEST_F(Termcap, LongerCapabilityIsAnAssertion)
{
    select("varno-test");
    for (const char *capability : {"k2", "k3"}) {
        EXPECT_ASSERTION(get(capability), "toss < (buf + sizeof(buf))", "termcap_util");
        EXPECT_ASSERTION(emit_one(capability), "toss < (buf + sizeof(buf))", "termcap_util");
    }
}

TEST_F(Termcap, BytesAfterTheStringAreZero)
{
    select("linux");
    char dst[128];
    std::memset(dst, '!', sizeof(dst));
    ASSERT_EQ(tcap_get_string("ku", dst), dst);
    EXPECT_EQ(std::string(dst, sizeof(dst)), std::string("\033[A") + std::string(125, '\0'));
}

TEST_F(Termcap, EmptyCapabilityIsFetchedButNotSent)
{
    select("varno-test");
    EXPECT_EQ(get("k4"), "");
    EXPECT_EQ(emit_one("k4"), "");
}

TEST_F(Termcap, EmitSendsTheListInOrder)
{
    select("varno-test");
    EXPECT_EQ(emit(term_init_caps), "onetwo");
    EXPECT_EQ(emit(term_reset_caps), "localunotres");
    const char *const backwards[] = {"is", "i1", nullptr};
    EXPECT_EQ(emit(backwards), "twoone");
    EXPECT_EQ(emit_one("ks").substr(0, 6), "keypad");
    EXPECT_EQ(emit_one("ks").find('$'), std::string::npos) << "padding is not text";
    select("xterm");
    EXPECT_EQ(emit(term_keys_caps), "\033[?1h\033=");
    EXPECT_EQ(emit(term_reset_caps).substr(0, 7), "\033[?1l\033>");
}

// Padding is sent as zero bytes while a line speed is set: 80 lines of 1 ms at 9600
// baud, 9 bits a byte, are 85 of them.
TEST_F(Termcap, PaddingForEachLineIsThatOf80Lines)
{
    constexpr short at_9600_baud = 13;
    select("varno-test");
    const short before = ospeed;
    ospeed = at_9600_baud;
    const std::string sent = emit_one("k5");
    ospeed = before;
    EXPECT_EQ(sent, "pad" + std::string(85, '\0'));
}

TEST_F(Termcap, EmitSkipsWhatTheTerminalLacks)
{
    select("dumb");
    EXPECT_EQ(emit(term_init_caps), "");
    EXPECT_EQ(emit(term_keys_caps), "");
    EXPECT_EQ(emit(term_reset_caps), "");
    select("varno-test");
    const char *const caps[] = {"zz", "i1", "ku", "is", nullptr};
    EXPECT_EQ(emit(caps), "onetwo");
}

TEST_F(Termcap, EmptyListSendsNothing)
{
    const char *const caps[] = {nullptr};
    EXPECT_EQ(emit(caps), "");
}

TEST_F(Termcap, MissingListIsAnAssertion)
{
    EXPECT_ASSERTION(tcap_emit_caps(nullptr, collect), "caps", "termcap_util");
}

} // namespace
