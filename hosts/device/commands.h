#ifndef VARNO_DEVICE_COMMANDS_H
#define VARNO_DEVICE_COMMANDS_H

// The functions of the commands, by the file that has them, and the types of arguments.

#include "action.h"

namespace device {

// aliases.cpp
Action show_aliases, add_alias, remove_alias, run_alias;
extern const cli_type_s alias_types[2]; // one that is named, one that is run

// commands.cpp
Action show_version, show_history, show_memory, show_numbers, echo, start_timer, end_session;

// configuration.cpp: of the device, of an interface, as lines of its modes
Action set_hostname, set_user, set_vlan, set_route;
Action set_description, set_address, set_shutdown;
Action write_configuration, write_interfaces;
extern const cli_type_s port_type; // an interface that is there, or is configured

// configuration_file.cpp
Action save_configuration;

// interfaces.cpp
Action show_interfaces;
extern const cli_type_s interface_type;

// ping.cpp
Action ping;

// routes.cpp
Action show_routes;

// settings.cpp
Action set_width, set_length, set_prompt, clear_screen;

// traces.cpp
Action start_debugging, stop_debugging;

// visitors.cpp
Action show_sessions;

} // namespace device

#endif
