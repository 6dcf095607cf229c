// Runs the test scripts: each family's driver plays the files that bear its name.

#include "support/decoder_driver.h"
#include "support/editor_driver.h"
#include "support/script.h"
#include "support/session_driver.h"
#include "support/telnet_driver.h"

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const std::filesystem::path folder = VARNO_SCRIPTS;
    varno_test::register_scripts(folder, "editor", varno_test::make_editor_driver);
    varno_test::register_scripts(folder, "decoder", varno_test::make_decoder_driver);
    varno_test::register_scripts(folder, "telnet", varno_test::make_telnet_driver);
    varno_test::register_scripts(folder, "session", varno_test::make_session_driver);
    return RUN_ALL_TESTS();
}
