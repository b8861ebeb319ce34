#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

#include "devices/desktop/Device.hpp"

/// The folder of a device: whose it is, and who can look into it.
namespace KavrelCrypto::Desktop {

/// Returns the error for something that the system refused at `path`: what that means for the path ("cannot
/// be created"), the system's reason, and what to do.
DeviceError systemFailure(const std::filesystem::path& path, const std::string& what, int systemError);

/// Makes `folder` where it is missing, and what is missing above it, each with mode 0700. Throws a
/// DeviceError if that cannot be done, if `folder` is something else, or if it belongs to another user.
void makeFolder(const std::filesystem::path& folder);

/// Throws a DeviceError unless `path` belongs to the user who runs the process. In a folder of somebody
/// else's, root would keep its keys where that person can reach them.
void checkOwner(const std::filesystem::path& path);

/// Returns whether `isWanted` returns true for a name in `folder`, and asks about no further name then.
/// Throws a DeviceError if the folder cannot be read.
bool anyNameIn(const std::filesystem::path& folder, const std::function<bool(std::string_view)>& isWanted);

/// Whether other people may enter `folder` or look into it.
bool isOpenToOthers(const std::filesystem::path& folder);

/// Takes from other people what they may do with `folder`. Throws a DeviceError if that cannot be done.
void closeToOthers(const std::filesystem::path& folder);

}  // namespace KavrelCrypto::Desktop
