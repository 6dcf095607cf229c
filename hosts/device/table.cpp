// A row is a command's notation, its help and its function; a row without a function
// documents the last word of its notation.

#include "table.h"

#include "commands.h"

namespace device {
namespace {

constexpr cli_command_s row(const char *syntax, const char *help, cli_run_fn run = nullptr,
                            int32_t level = 0, const char *enters = nullptr, uint32_t flags = 0)
{
    cli_command_s made = {};
    made.syntax = syntax;
    made.help = help;
    made.run = run;
    made.level = level;
    made.enters = enters;
    made.flags = flags;
    return made;
}

// In the order in which help lists them.
// clang-format off
constexpr cli_command_s exec_rows[] = {
    row("show",                              "what there is"),
    row("show version",                      "the version of this program",    run<show_version>),
    row("show interfaces [NAME(interface)]", "the interfaces of the machine",  run<show_interfaces>),
    row("show interfaces",                   "the interfaces of the machine"),
    row("show interfaces NAME(interface)",   "one of them"),
    row("show routes",                       "the routes of the machine",      run<show_routes>),
    row("show sessions",                     "who is here",                    run<show_sessions>),
    row("show history",                      "the lines typed before",         run<show_history>),
    row("show memory",                       "what is allocated",              run<show_memory>),
    row("show aliases",                      "your own commands",              run<show_aliases>),
    row("show numbers COUNT(1-1000000)",     "a long output",                  run<show_numbers>),
    row("show numbers COUNT(1-1000000)",     "how many"),
    row("show running-config [<configure|interface [NAME(port)]>$SECTION]",
                                             "the configuration as commands",  cli_show_config, 1),
    row("show running-config",               "the configuration as commands"),
    row("show running-config configure",     "of the device as a whole"),
    row("show running-config interface",     "of its interfaces"),
    row("show running-config interface NAME(port)", "of one of them"),
    row("echo TEXT...",                      "print words",                    run<echo>),
    row("echo TEXT...",                      "words to print"),
    row("ping HOST [{count COUNT(1-1000)|size BYTES(28-65507)|interval SECONDS(1-60)|quiet}]",
                                             "ask a host whether it is there", run<ping>),
    row("ping HOST",                         "its name or address"),
    row("ping HOST count",                   "how many requests"),
    row("ping HOST count COUNT(1-1000)",     "of them; without it five"),
    row("ping HOST size",                    "bytes of data in each"),
    row("ping HOST size BYTES(28-65507)",    "of them; without it 56"),
    row("ping HOST interval",                "time between two"),
    row("ping HOST interval SECONDS(1-60)",  "of them; without it one"),
    row("ping HOST quiet",                   "the summary alone"),
    row("terminal",                          "settings of this terminal"),
    row("terminal length ROWS(0-512)",       "the length of a page",           run<set_length>),
    row("terminal length ROWS(0-512)",       "how many; 0: no pages"),
    row("terminal width COLUMNS(10-512)",    "the width of the edited row",    run<set_width>),
    row("terminal width COLUMNS(10-512)",    "how many; 256 is the most"),
    row("prompt TEXT...",                    "the text before the line",       run<set_prompt>),
    row("prompt TEXT...",                    "quotes keep a blank at its end"),
    row("clear",                             "an empty screen",                run<clear_screen>),
    row("timer SECONDS(1-86400) TEXT(line)", "a message later on",             run<start_timer>),
    row("timer SECONDS(1-86400)",            "until it comes"),
    row("timer SECONDS(1-86400) TEXT(line)", "the message"),
    row("alias NAME TEXT(line)",             "add a command of your own",      run<add_alias>),
    row("alias NAME",                        "a new command"),
    row("alias NAME TEXT(line)",             "the line it stands for"),
    row("no",                                "remove something"),
    row("no alias NAME(alias)",              "one of your own commands",       run<remove_alias>),
    row("no alias NAME(alias)",              "the one to remove"),
    row("debug",                             "the library's traces"),
    row("debug on",                          "traces of what you type",        run<start_debugging>),
    row("debug off",                         "no traces",                      run<stop_debugging>),
    row("enable [LEVEL(0-15)]",              "a higher level, by its secret",  cli_enable),
    row("enable LEVEL(0-15)",                "which; without it 15"),
    row("disable",                           "the lowest level",               cli_disable),
    row("configure [terminal]",              "change the configuration", nullptr, 15, "configure"),
    row("configure terminal",                "the same"),
    row("copy",                              "save something"),
    row("copy running-config startup-config", "the configuration, for the next start",
                                                                 run<save_configuration>, 15),
    row("copy running-config",               "the configuration as it is"),
    row("write [memory]",                    "save the configuration",   run<save_configuration>, 15),
    row("write memory",                      "the same"),
    row("<exit|quit|logout>",                "end the session",                run<end_session>),
    row("exit",                              "end the session"),
    row("quit",                              "the same"),
    row("logout",                            "the same"),
    row("ALIAS(own)",                        "one of your own commands",       run<run_alias>, 0, nullptr,
                                             CLI_UNPIPED), // its text may have filters
    row("ALIAS(own)",                        "one of your own commands"),
};

constexpr cli_command_s configure_rows[] = {
    row("no",                                "take something back"),
    row("[no] hostname ![HOST]",             "the device's name",              run<set_hostname>, 15),
    row("hostname HOST",                     "the name"),
    row("[no] username NAME [level LEVEL(0-15)]", "who may log in",            run<set_user>, 15),
    row("username NAME",                     "the user's name"),
    row("username NAME level",               "what the user may do"),
    row("username NAME level LEVEL(0-15)",   "which; without it 1"),
    row("[no] vlan VLAN(1-4094) [name NAME]", "a virtual network",             run<set_vlan>, 15),
    row("vlan VLAN(1-4094)",                 "its number"),
    row("vlan VLAN(1-4094) name",            "name it"),
    row("vlan VLAN(1-4094) name NAME",       "the network's name"),
    row("ip",                                "the internet protocol"),
    row("[no] ip route NET(ip/) ![GATEWAY(ip)]", "the way to a network",       run<set_route>, 15),
    row("ip route NET(ip/)",                 "where it leads to"),
    row("ip route NET(ip/) GATEWAY(ip)",     "over whom"),
    row("interface NAME(port)",              "settings of an interface", nullptr, 15, "interface"),
    row("interface NAME(port)",              "which"),
};

constexpr cli_command_s interface_rows[] = {
    row("no",                                "take something back"),
    row("[no] description ![TEXT(line)]",    "what it is for",                 run<set_description>, 15),
    row("description TEXT(line)",            "the rest of the line, as it is"),
    row("[no] shutdown",                     "take it down",                   run<set_shutdown>, 15),
    row("ip",                                "the internet protocol"),
    row("[no] ip address ![NET(ip/)]",       "its address",                    run<set_address>, 15),
    row("ip address NET(ip/)",               "the address and its network's bits, as in 10.0.0.1/8"),
};

constexpr cli_mode_s exec_mode      = {"exec",      nullptr,     "%h%# ",             0, nullptr, nullptr};
constexpr cli_mode_s configure_mode = {"configure", "exec",      "%h(config)# ",      CLI_DO,
                                       run<write_configuration>, nullptr};
constexpr cli_mode_s interface_mode = {"interface", "configure", "%h(config-if)# ",   CLI_DO | CLI_INHERITS,
                                       run<write_interfaces>, nullptr};
// clang-format on

} // namespace

std::span<const ModeRows> modes()
{
    static const ModeRows all[] = {
        {exec_mode, exec_rows},
        {configure_mode, configure_rows},
        {interface_mode, interface_rows},
    };
    return all;
}

std::span<const cli_type_s> types()
{
    static const cli_type_s all[] = {alias_types[0], alias_types[1], interface_type, port_type};
    return all;
}

bool add_to(cli_set_s *set)
{
    bool is_added = true;
    for (const ModeRows &one : modes())
        is_added = is_added && cli_set_add_mode(set, nullptr, &one.mode) == 0 &&
                   cli_set_add(set, nullptr, one.mode.name, one.rows.data(), one.rows.size()) == 0;
    for (const cli_type_s &type : types())
        is_added = is_added && cli_set_add_type(set, nullptr, &type) == 0;
    return is_added;
}

} // namespace device
