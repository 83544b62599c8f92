#include "presenters/dialog_texts.h"

#include <algorithm>
#include <array>

#include "platform/byte_text.h"
#include "platform/paths.h"
#include "presenters/locale_text.h"

namespace lumisk {
namespace {

constexpr const char* kProgram = "Qel Lumisk";
constexpr std::uint64_t kLargestPicture = 100'000'000;  // bytes; larger ones are not worth the wait

// What the engine and the application say, kept there in English.
[[maybe_unused]] constexpr std::array kToldElsewhere{
    markedText("You may have an incomplete backup.\n\n"
               "Please view the file \"~/Log/Qel Lumisk.log\" about detailed info"),
    markedText("You may have an incomplete backup because there is not enough free space."),
    markedText("Qel Lumisk will now monitor your source and target folders and keep their contents synchronized."),
    markedText("Destination folder isn't writable or does not exist."),
    markedText("Source folder isn't readable or does not exist."),
    markedText("Backup has been completed."),
    markedText("Synchronization has been completed."),
    markedText("User canceled the job."),
    markedText("Warning"),
    markedText("OK"),
    markedText("Cancel"),
    markedText("Yes"),
    markedText("No"),
    markedText("Install"),
    markedText("Needs Install"),
    markedText("LumiskHelperTool needs to install"),
    markedText("Qel Lumisk already run"),
    markedText("Qel Lumisk is now running for syncs.\n\ndo you really want to exit?"),
    markedText("Would you like Qel Lumisk to run at login?"),
    markedText("Do you really want to delete this job?"),
    markedText("Please enter a volume name."),
    markedText("Please enter a password."),
    markedText("The DMG file could not be created. Please check the security settings."),
};

std::string shownNow(const std::string& text) {
  return translated(text.c_str());
}

std::string quoted(const std::string& name) {
  // Translators: a name in quotation marks.
  return filled(translated("“{}”"), displayText(name));
}

DialogTone toneOf(DialogKind kind) {
  switch (kind) {
    case DialogKind::kFinish:
      return DialogTone::kGood;
    case DialogKind::kQuestion:
    case DialogKind::kConflict:
      return DialogTone::kQuestion;
    case DialogKind::kAlert:
    case DialogKind::kMessage:
    case DialogKind::kPathProblem:
    case DialogKind::kHeldDeletions:
      break;
  }
  return DialogTone::kWarning;
}

std::string headingOf(const DialogItem& item) {
  switch (item.kind) {
    case DialogKind::kPathProblem:
      return filled(translated("{} could not run"), quoted(item.job));
    case DialogKind::kHeldDeletions:
      return filled(filledCount("{{}} would delete {} entry", "{{}} would delete {} entries", item.held.count),
                    quoted(item.job));
    case DialogKind::kConflict:
      return translated("Changed on both sides");
    case DialogKind::kFinish:
      return item.upperText.empty() ? quoted(item.job) : shownNow(item.upperText);
    case DialogKind::kAlert:
    case DialogKind::kMessage:
    case DialogKind::kQuestion:
      break;
  }
  if (!item.job.empty()) return quoted(item.job);
  return item.title.empty() ? kProgram : shownNow(item.title);
}

std::string heldBody() {
  return translated(
      "So many deletions at once may be an accident, so none of them has been carried out. Everything else has been "
      "copied.");
}

void fillTexts(const DialogItem& item, WallTime now, DialogTexts& texts) {
  if (item.texts.empty()) return;
  const ToldText& latest = item.texts.back();
  texts.body = shownNow(latest.text);
  if (latest.times > 1) {
    texts.times =
        filled(filledCount("Told {} time, the last one {{}}.", "Told {} times, the last one {{}}.", latest.times),
               localRecent(latest.last, now));
  }
  for (auto each = item.texts.rbegin() + 1; each != item.texts.rend(); ++each)
    texts.earlier.push_back(localRecent(each->last, now) + ": " + shownNow(each->text));
}

bool looksLikePicture(const ConflictSide& side) {
  static constexpr std::array kExtensions{"png", "jpg", "jpeg", "gif", "bmp", "webp", "svg", "tif", "tiff", "ico"};
  std::string extension = paths::extension(paths::lastComponent(side.path));
  std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : static_cast<char>(c);
  });
  const bool isKnown = std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
  return isKnown && side.status.type == FileType::kRegular && side.status.size <= kLargestPicture;
}

std::string sizeOf(const FileStatus& status) {
  if (status.type == FileType::kFolder) return translated("folder");
  return status.type == FileType::kLink ? translated("link") : localSize(status.size);
}

ConflictSideTexts sideTexts(const ConflictSide& side, const ConflictSide& other, std::string caption) {
  ConflictSideTexts texts;
  texts.caption = std::move(caption);
  texts.folder = paths::parent(side.path);
  texts.size = sizeOf(side.status);
  texts.modified = localDateTime(side.status.modified);
  texts.created = localDateTime(side.status.created);
  if (side.status.modified > other.status.modified) texts.note = translated("newer");
  texts.isPicture = looksLikePicture(side);
  return texts;
}

}  // namespace

DialogTexts dialogTexts(const DialogItem& item, WallTime now) {
  DialogTexts texts;
  texts.tone = toneOf(item.kind);
  texts.windowTitle = item.job.empty() ? kProgram : displayText(item.job) + " – " + kProgram;
  texts.heading = headingOf(item);
  texts.path = item.path;
  fillTexts(item, now, texts);
  texts.accept = translated("OK");
  if (item.kind == DialogKind::kQuestion) {
    texts.accept = shownNow(item.accept);
    texts.refuse = shownNow(item.refuse);
  } else if (item.kind == DialogKind::kHeldDeletions) {
    texts.body = heldBody();
    texts.accept = translated("Delete them now");
    texts.refuse = translated("Keep them");
  }
  return texts;
}

// Of a folder only its own path is named.
std::string heldNote(const HeldDeletions& held) {
  const std::uint64_t unnamed = held.count - std::min<std::uint64_t>(held.count, held.paths.size());
  if (unnamed == 0) return translated("If they are meant, they go with one more run.");
  return filled(translated("And {} more, in these folders or besides. If they are meant, they go with one more run."),
                localCount(unnamed));
}

ConflictTexts conflictTexts(const ConflictQuestion& question) {
  ConflictTexts texts;
  texts.name = paths::lastComponent(question.source.path);
  texts.source = sideTexts(question.source, question.target, translated("Source"));
  texts.target = sideTexts(question.target, question.source, translated("Target"));
  return texts;
}

std::vector<ChoiceText> choiceTexts() {
  return {
      {ConflictChoice::kSourceWins, translated("Keep the source"),
       translated("The target's version goes to the Trash.")},
      {ConflictChoice::kTargetWins, translated("Keep the target"),
       translated("The source's version goes to the Trash.")},
      {ConflictChoice::kNewerWins, translated("Keep the newer"), translated("The older version goes to the Trash.")},
      {ConflictChoice::kKeepBoth, translated("Keep both"),
       translated("The older version stays beside the newer one, as “(OLD)”.")}};
}

}  // namespace lumisk
