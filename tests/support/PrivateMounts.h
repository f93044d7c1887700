#pragma once

#include <string>

/// For child processes of a test: a view of the file systems of its own, to mount what no one else sees. Both end the
/// process with a message when the machine does not permit it.
void enterPrivateMounts();
void mountTmpfs(const std::string& directory, const std::string& size);
