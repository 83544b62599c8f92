#include "presenters/image_maker.h"

#include "jobs/job_checks.h"
#include "platform/paths.h"
#include "platform/translation.h"

namespace lumisk {
namespace {

// What the controller's checks say, for the catalogue.
[[maybe_unused]] constexpr const char* kTexts[] = {
    markedText("Please enter a volume name."),
    markedText("Please enter a password."),
    markedText("Please verify the password."),
    markedText("There is an error in creating the DMG file."),
};

// Keeps what would have been shown in a window of its own.
class NotedAlerts : public UserDialogs {
 public:
  void showAlert(const std::string&, const std::string& message) override { text = message; }
  void showMessage(const std::string&, const std::string&, const std::string& message) override { text = message; }
  void showPathProblem(const PathProblem&) override {}
  void showFinish(const FinishDialog&) override {}
  ConflictAnswer askConflict(const ConflictQuestion&) override { return {}; }
  bool ask(const std::string&, const std::string&, const std::string&, const std::string&) override { return false; }

  std::string text;
};

void fill(createDMGController& controller, const ImageAnswers& answers) {
  controller.volumeNameField = answers.name;
  controller.passwordField = answers.password;
  controller.verifyField = answers.verify;
  controller.checkButton = answers.keepPassword;
  controller.setDirectory(answers.folder);
}

}  // namespace

std::optional<std::string> ImageMaker::problem(const ImageAnswers& answers) {
  NotedAlerts alerts;
  UserDefaults none = UserDefaults::inMemory({});
  createDMGController controller(alerts, none, {});
  fill(controller, answers);
  if (!controller.CheckAllViews()) return translated(alerts.text.c_str());
  if (checkJobName(answers.name)) return translated("This name cannot be used.");
  if (answers.folder.empty()) return translated("Choose the folder for the image.");
  return std::nullopt;
}

void ImageMaker::make(ImageAnswers answers, std::function<void(std::optional<MadeImage>, const std::string&)> done) {
  task_.start([answers = std::move(answers), done = std::move(done), tool = tool_,
               path = defaultsPath_](const BackgroundTask::Context& context) {
    NotedAlerts alerts;
    UserDefaults defaults(path);
    createDMGController controller(alerts, defaults, tool);
    fill(controller, answers);
    const auto ending = controller.doCommand([&] { return context.isCancelled(); });
    std::optional<MadeImage> made;
    if (ending == createDMGController::Ending::kDone) {
      if (answers.keepPassword) controller.addToKeyChain();
      made = MadeImage{paths::join(answers.folder, answers.name + ".sparseimage"), "/Volumes/" + answers.name};
    }
    const std::string why = alerts.text.empty() ? std::string() : translated(alerts.text.c_str());
    context.tell([done, made, why] { done(made, why); });
  });
}

}  // namespace lumisk
