/** Folders that other users of the machine can neither make nor change. */
#pragma once

#include <filesystem>

namespace proof {

/** Whether this user, the administrators or the system own the folder, and not another user. */
bool IsOfThisUser(const std::filesystem::path& folder);

/**
 * Makes a folder that only this user, the administrators and the system can write to. Programs of the folder
 * may run with administrator rights, and ProgramData lets every user add files to its folders.
 * @return false if the folder exists or cannot be made
 */
bool MakePrivateFolder(const std::filesystem::path& folder);

}  // namespace proof
