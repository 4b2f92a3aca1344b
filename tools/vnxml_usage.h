// The usage texts of the command-line program.
#pragma once

#include <string>

namespace vnxml_cli {

// The text of "vnxml --help".
const char *TopUsage();
// The text of "vnxml COMMAND --help"; null for a name that is no command.
const char *CommandHelp(const std::string &ACommand);

}  // namespace vnxml_cli
