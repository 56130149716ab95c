#include <future>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/Command.h"
#include "console/Base64.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/SaveFile.h"
#include "console/System.h"
#include "views/Inventory.h"

namespace cli {
namespace {

struct IconOptions {
  std::string name;
  std::string file;
};

/** Never destroyed: a worker thread may still be in the callback when the text is read. */
std::promise<std::string>& IconTextPromise() {
  static auto& promise = *new std::promise<std::string>;
  return promise;
}

std::string RequestIconText(const std::string& name) {
  GetAppIconAsync([](char* iconText) { IconTextPromise().set_value(iconText); }, name.c_str());
  return IconTextPromise().get_future().get();
}

void PrintPicture(Session& session, const IconOptions& options, const std::string& picture) {
  if (options.file.empty()) {
    if (IsTerminal(Stream::Out)) {
      throw Failure("the icon is a PNG picture, which a terminal cannot show; name a file with: -o FILE.png");
    }
    return session.out.Write(picture);
  }
  SaveFile(options.file, picture);
  session.out.Write(Printable(options.file) + ": PNG, " + std::to_string(picture.size()) + " bytes\n");
}

void PrintIcon(Session& session, const IconOptions& options) {
  const std::string iconText = RequestIconText(options.name);
  if (iconText.empty()) {
    throw Failure("no icon: nothing named \"" + options.name +
                  "\" is installed, or its icon cannot be drawn; see the names with: kestrelbay list");
  }
  const bool isPicture = iconText.starts_with(kPictureStart);
  if (!isPicture && !options.file.empty()) {
    throw Failure("the icon is the file " + iconText + " on the machine, not a picture; omit -o");
  }
  const std::string picture =
      isPicture ? FromBase64(std::string_view(iconText).substr(kPictureStart.size())) : "";
  if (session.json) {
    if (!options.file.empty()) SaveFile(options.file, picture);
    session.out.WriteJsonLine({{"displayName", options.name}, {"iconText", iconText}});
  } else if (isPicture) {
    PrintPicture(session, options, picture);
  } else {
    session.out.Write(Printable(iconText) + "\n");
  }
}

}  // namespace

void AddIcon(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("icon", "Draw the icon of one application");
  auto options = std::make_shared<IconOptions>();
  command->add_option("NAME", options->name, "The name exactly as listed, including case")->required();
  command->add_option("-o,--output", options->file, "Write the picture to this file")
      ->type_name("FILE.png")
      ->check(RefuseEmpty);
  command->footer(
      "The picture is written to FILE.png, or to standard output if that is not a terminal. For an icon "
      "that\n"
      "is a file on the machine its path is printed.");
  command->callback(
      [&chosen, options] { chosen = [options](Session& session) { PrintIcon(session, *options); }; });
}

}  // namespace cli
