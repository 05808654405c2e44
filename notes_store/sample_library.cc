#include "notes_store/sample_library.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <optional>
#include <random>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "notes_store/note_document_writer.h"
#include "notes_store/notes_library_builder.h"

namespace zephyl::notes_store {
namespace {

// Times are spread over the five years before 2026-11-01 00:00:00 UTC, in
// seconds since 2001-01-01 as Notes stores them.
constexpr double kEndTime = 815184000.0;
constexpr double kTimeSpan = 5 * 365.25 * 86400;

constexpr int kMaxFolders = 2000;
constexpr int kMinFolders = 12;
constexpr int kNotesPerFolder = 50;
constexpr int kMaxFolderDepth = 4;
constexpr size_t kBatchSize = 2048;

constexpr std::string_view kObjectReplacement = "\xEF\xBF\xBC";  // U+FFFC
constexpr std::string_view kTableTypeUTI = "com.apple.notes.table";

// Draws from std::mt19937_64, whose output the standard fixes, with arithmetic of
// our own: the standard distributions differ between libraries, and the same
// seed must give the same library everywhere.
class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  // Uniform in [0, count); the modulo bias is far below anything that matters here.
  size_t below(size_t count) { return static_cast<size_t>(engine_() % count); }
  int between(int low, int high) { return low + static_cast<int>(below(high - low + 1)); }
  double unit() { return static_cast<double>(engine_() >> 11) * 0x1.0p-53; }
  bool chance(double probability) { return unit() < probability; }

  template <typename T, size_t N>
  const T& pick(const T (&items)[N]) {
    return items[below(N)];
  }
  template <typename T>
  const T& pick(const std::vector<T>& items) {
    return items[below(items.size())];
  }

  std::string uuid() {
    uint64_t high = engine_();
    uint64_t low = engine_();
    high = (high & ~0xF000ULL) | 0x4000ULL;
    low = (low & ~(0xC0ULL << 56)) | (0x80ULL << 56);
    char text[37];
    std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                  static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                  static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
    return text;
  }

  std::string bytes(size_t count) {
    std::string result(count, '\0');
    for (char& byte : result) {
      byte = static_cast<char>(engine_() & 0xFF);
    }
    return result;
  }

 private:
  std::mt19937_64 engine_;
};

// Vocabulary for the prose. Verbs are in the past tense so that any subject fits.
constexpr std::string_view kNouns[] = {
    "budget",     "garden",     "meeting",   "kitchen",     "project",     "deadline",   "recipe",
    "invoice",    "schedule",   "library",   "bicycle",     "proposal",    "window",     "customer",
    "river",      "mountain",   "report",    "contract",    "painting",    "software",   "roadmap",
    "workshop",   "notebook",   "festival",  "harvest",     "journey",     "museum",     "prototype",
    "interview",  "database",   "campaign",  "apartment",   "telescope",   "orchestra",  "vineyard",
    "bakery",     "lighthouse", "seminar",   "warehouse",   "spreadsheet", "manuscript", "deployment",
    "forecast",   "backlog",    "itinerary", "checklist",   "playlist",    "portfolio",  "neighborhood",
    "greenhouse", "conference", "timeline",  "feedback",    "dashboard",   "migration",  "newsletter",
    "sculpture",  "ceremony",   "inventory", "reservation", "curriculum",  "podcast",    "renovation",
    "estimate",   "sandwich",   "blueprint", "compass",     "lantern",     "meadow",     "harbor",
    "keyboard",   "question",   "strategy",  "volunteer",   "algorithm",   "hypothesis", "experiment",
};
constexpr std::string_view kAdjectives[] = {
    "quarterly", "quiet",    "ambitious", "careful",  "detailed",  "rough",     "final",
    "shared",    "urgent",   "seasonal",  "local",    "remote",    "weekly",    "annual",
    "early",     "late",     "bright",    "patient",  "curious",   "generous",  "modest",
    "rapid",     "steady",   "fragile",   "sturdy",   "elegant",   "practical", "unusual",
    "familiar",  "hidden",   "public",    "private",  "tentative", "approved",  "revised",
    "original",  "colorful", "minimal",   "thorough", "overdue",   "promising", "complex",
};
constexpr std::string_view kVerbs[] = {
    "reviewed",  "moved",     "updated",      "cleaned",    "planned",   "shipped",    "painted",
    "measured",  "repaired",  "sketched",     "booked",     "cancelled", "approved",   "tested",
    "rewrote",   "organized", "compared",     "ordered",    "delivered", "finished",   "started",
    "postponed", "discussed", "summarized",   "questioned", "improved",  "simplified", "archived",
    "watered",   "harvested", "photographed", "translated", "rehearsed", "calculated", "drafted",
};
constexpr std::string_view kAdverbs[] = {
    "quickly", "carefully", "again", "yesterday", "today",     "slowly",  "together",
    "finally", "early",     "twice", "quietly",   "gradually", "at last", "for once",
};
constexpr std::string_view kPrepositions[] = {
    "for", "with", "near", "after", "before", "during", "behind", "beside", "without", "around",
};
constexpr std::string_view kPeople[] = {
    "Maria", "James", "Aiko",  "Priya", "Tomás", "Olivia", "Noah",   "Fatima", "Lars",
    "Chen",  "Amara", "Elena", "Mateo", "Sofia", "Kwame",  "Hannah", "Ravi",   "Ingrid",
};
constexpr std::string_view kPlaces[] = {
    "Lisbon", "Kyoto",  "Toronto", "Nairobi",  "Oslo",      "Lima",   "Melbourne", "Seville",
    "Hanoi",  "Dublin", "Zürich",  "Montréal", "Reykjavík", "Austin", "Porto",     "Edinburgh",
};
constexpr std::string_view kTitleHeads[] = {
    "notes",   "plan",   "ideas",    "checklist", "summary",  "draft",  "review",
    "outline", "budget", "timeline", "questions", "findings", "agenda", "wishlist",
};
constexpr std::string_view kFolderNames[] = {
    "Recipes", "Travel",   "Work",   "Finance",     "Health",  "Reading",  "Ideas",
    "Garden",  "Music",    "Home",   "Journal",     "Archive", "Meetings", "Research",
    "Writing", "Learning", "Family", "Photography", "Fitness", "Projects", "Clients",
    "Hobbies", "Shopping", "School", "Taxes",       "Events",  "Design",   "Reference",
};
constexpr std::string_view kFolderQualifiers[] = {
    "2022", "2023", "2024", "2025", "2026", "Old", "Shared", "Personal", "Drafts", "Misc",
};
constexpr std::string_view kCodeLines[] = {
    "let total = items.reduce(0, +)",
    "git rebase -i HEAD~3",
    "SELECT count(*) FROM orders WHERE status = 'open';",
    "for (int i = 0; i < n; ++i) sum += values[i];",
    "curl -s https://api.example.com/v1/status | jq .",
    "def mean(xs): return sum(xs) / len(xs)",
    "ssh -L 8080:localhost:80 build-server",
    "npm run build && npm test",
};
constexpr std::string_view kWebSites[] = {
    "https://en.wikipedia.org/wiki/",
    "https://www.example.com/articles/",
    "https://developer.example.org/docs/",
    "https://blog.example.net/",
};
constexpr std::string_view kAttachmentTypes[] = {
    "public.jpeg", "public.png", "public.heic", "com.adobe.pdf", "public.mpeg-4-audio",
};

// The titles with text that trips up naive code (multi-byte characters, the path
// separator, a quote); the first notes take them in turn.
constexpr std::string_view kSpecialNoteTitles[] = {
    "Café au lait: tasting notes",
    "日本語の練習ノート",
    "Weekend hike 🏔️ packing list",
    "Roadmap › Q3 milestones",
    "Notes from O'Brien's workshop",
    "Crème brûlée for twelve",
    "Ideas 💡 for the garden",
};

std::string capitalized(std::string_view word) {
  std::string result(word);
  if (!result.empty() && result[0] >= 'a' && result[0] <= 'z') {
    result[0] = static_cast<char>(result[0] - 'a' + 'A');
  }
  return result;
}

std::string lowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

std::string nounPhrase(Random& random) {
  std::string phrase = random.chance(0.5) ? "the " : random.chance(0.5) ? "our " : "a ";
  if (phrase == "a " || random.chance(0.6)) {
    std::string_view adjective = random.pick(kAdjectives);
    if (phrase == "a " && std::string_view("aeiou").find(adjective[0]) != std::string_view::npos) {
      phrase = "an ";
    }
    phrase += adjective;
    phrase += ' ';
  }
  phrase += random.pick(kNouns);
  return phrase;
}

// One sentence of plausible prose, without the final period.
std::string clause(Random& random) {
  std::string text;
  switch (random.below(4)) {
    case 0:
      text = std::string(random.pick(kPeople));
      break;
    case 1:
      text = "we";
      break;
    default:
      text = nounPhrase(random);
      break;
  }
  text += ' ';
  text += random.pick(kVerbs);
  text += ' ';
  text += nounPhrase(random);
  if (random.chance(0.6)) {
    text += ' ';
    text += random.pick(kPrepositions);
    text += ' ';
    text += random.chance(0.2) ? std::string(random.pick(kPlaces)) : nounPhrase(random);
  }
  if (random.chance(0.4)) {
    text += ' ';
    text += random.pick(kAdverbs);
  }
  return text;
}

std::string sentence(Random& random) {
  std::string text = clause(random);
  if (random.chance(0.3)) {
    text += random.chance(0.5) ? ", and " : ", but ";
    text += clause(random);
  }
  return capitalized(text) + (random.chance(0.1) ? "?" : ".");
}

std::string sentences(Random& random, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    if (i > 0) text += ' ';
    text += sentence(random);
  }
  return text;
}

std::string noteTitle(Random& random) {
  switch (random.below(6)) {
    case 0:
      return "Meeting with " + std::string(random.pick(kPeople));
    case 1:
      return "Trip to " + std::string(random.pick(kPlaces));
    case 2:
      return capitalized(random.pick(kNouns)) + " " + std::string(random.pick(kTitleHeads));
    case 3:
      return "Recipe: " + std::string(random.pick(kAdjectives)) + " " + std::string(random.pick(kNouns));
    default:
      return capitalized(random.pick(kAdjectives)) + " " + std::string(random.pick(kNouns)) + " " +
             std::string(random.pick(kTitleHeads));
  }
}

NoteParagraphStyleSpec styleType(int type) { return {.styleType = type}; }

// Assembles the runs of one note body paragraph by paragraph.
class BodyWriter {
 public:
  void title(const std::string& text) { paragraph({{.text = text}}, styleType(0)); }

  // Appends the pieces as one paragraph: each gets the paragraph style and the
  // last one the line break (a plain run of its own when the last piece is a link
  // or attachment, which the break must not join).
  void paragraph(std::vector<NoteRunSpec> pieces, const NoteParagraphStyleSpec& style) {
    NoteRunSpec& last = pieces.back();
    bool lastIsPlain = last.fontWeight == 0 && !last.underline && !last.strikethrough &&
                       last.superscript == 0 && !last.link && !last.attachmentIdentifier &&
                       last.highlight == 0;
    if (lastIsPlain) {
      last.text += '\n';
    } else {
      pieces.push_back({.text = "\n"});
    }
    for (NoteRunSpec& piece : pieces) {
      length_ += piece.text.size();
      piece.paragraph = style;
      runs_.push_back(std::move(piece));
    }
  }

  void plain(const std::string& text, const NoteParagraphStyleSpec& style = {}) {
    paragraph({{.text = text}}, style);
  }

  size_t length() const { return length_; }
  const std::vector<NoteRunSpec>& runs() const { return runs_; }

 private:
  std::vector<NoteRunSpec> runs_;
  size_t length_ = 0;
};

enum class Block {
  kHeading,
  kSubheading,
  kFormattedParagraph,
  kMonospaced,
  kDashedList,
  kBulletedList,
  kNumberedList,
  kChecklist,
  kBlockQuote,
  kAttachment,
  kWebLink,
  kNoteLink,
};
constexpr int kBlockCount = 12;

// How often each block is drawn after the first: mostly prose, headings and
// lists, with attachments and links to other notes now and then.
constexpr int kBlockWeights[kBlockCount] = {3, 3, 10, 2, 2, 3, 2, 3, 2, 1, 2, 1};

Block randomBlock(Random& random) {
  int total = 0;
  for (int weight : kBlockWeights) total += weight;
  int draw = static_cast<int>(random.below(total));
  int block = 0;
  while (draw >= kBlockWeights[block]) draw -= kBlockWeights[block++];
  return static_cast<Block>(block);
}

struct LinkTarget {
  std::string identifier;
  std::string title;
};

struct PendingAttachment {
  std::string identifier;
  std::string typeUTI;
  std::optional<std::string> tableData;
};

// What a generated body refers to, added as rows once the note has its key.
struct BodyReferences {
  std::vector<PendingAttachment> attachments;
  std::vector<std::string> links;
};

// A paragraph whose middle words carry one kind of inline formatting.
std::vector<NoteRunSpec> formattedPieces(Random& random) {
  std::string text = sentence(random);
  size_t firstSpace = text.find(' ');
  size_t secondSpace = firstSpace == std::string::npos ? firstSpace : text.find(' ', firstSpace + 1);
  if (secondSpace == std::string::npos) {
    return {{.text = text}};
  }
  NoteRunSpec before{.text = text.substr(0, firstSpace + 1)};
  NoteRunSpec middle{.text = text.substr(firstSpace + 1, secondSpace - firstSpace - 1)};
  NoteRunSpec after{.text = text.substr(secondSpace)};
  switch (random.below(7)) {
    case 0:
      middle.fontWeight = 1;
      break;
    case 1:
      middle.fontWeight = 2;
      break;
    case 2:
      middle.fontWeight = 3;
      break;
    case 3:
      middle.underline = true;
      break;
    case 4:
      middle.strikethrough = true;
      break;
    case 5:
      middle.highlight = random.between(1, 5);
      break;
    default:
      // Subscript (-1) is left out: its ten-byte varint is more than readers of
      // the format accept.
      middle.superscript = 1;
      break;
  }
  return {before, middle, after, {.text = " " + sentences(random, random.between(1, 2))}};
}

void addBlock(Block block, Random& random, BodyWriter& body, BodyReferences& references,
              const std::vector<LinkTarget>& linkTargets) {
  switch (block) {
    case Block::kHeading: {
      NoteParagraphStyleSpec style = styleType(1);
      if (random.chance(0.2)) style.alignment = 1;
      body.plain(capitalized(random.pick(kAdjectives)) + " " + std::string(random.pick(kNouns)), style);
      body.plain(sentences(random, random.between(1, 3)));
      break;
    }
    case Block::kSubheading:
      body.plain(capitalized(random.pick(kNouns)) + " " + std::string(random.pick(kTitleHeads)),
                 styleType(2));
      body.plain(sentences(random, random.between(1, 2)));
      break;
    case Block::kFormattedParagraph:
      body.paragraph(formattedPieces(random), {});
      break;
    case Block::kMonospaced:
      for (int i = random.between(1, 3); i > 0; --i) {
        body.plain(std::string(random.pick(kCodeLines)), styleType(4));
      }
      break;
    case Block::kDashedList:
    case Block::kBulletedList:
    case Block::kNumberedList: {
      int type = block == Block::kDashedList ? 100 : block == Block::kBulletedList ? 101 : 102;
      for (int i = random.between(2, 5); i > 0; --i) {
        NoteParagraphStyleSpec style = styleType(type);
        if (random.chance(0.25)) style.indentLevel = 1;
        body.plain(capitalized(clause(random)), style);
      }
      break;
    }
    case Block::kChecklist: {
      int count = random.between(2, 5);
      for (int i = 0; i < count; ++i) {
        NoteParagraphStyleSpec style = styleType(103);
        // The first item is always done and the second never, so both appear.
        style.checklistDone = i == 0 || (i > 1 && random.chance(0.5));
        body.plain(capitalized(random.pick(kVerbs)) + " " + nounPhrase(random), style);
      }
      break;
    }
    case Block::kBlockQuote:
      body.plain(sentences(random, random.between(1, 3)), {.blockQuote = 1});
      break;
    case Block::kAttachment: {
      PendingAttachment attachment{random.uuid(), std::string(random.pick(kAttachmentTypes)), {}};
      body.paragraph({{.text = std::string(kObjectReplacement),
                       .attachmentIdentifier = attachment.identifier,
                       .attachmentTypeUTI = attachment.typeUTI}},
                     {});
      references.attachments.push_back(std::move(attachment));
      break;
    }
    case Block::kWebLink: {
      std::string_view word = random.pick(kNouns);
      body.paragraph({{.text = "See "},
                      {.text = "the " + std::string(word) + " guide",
                       .link = std::string(random.pick(kWebSites)) + capitalized(word)},
                      {.text = " before we change " + nounPhrase(random) + "."}},
                     {});
      break;
    }
    case Block::kNoteLink: {
      if (linkTargets.empty()) {
        addBlock(Block::kWebLink, random, body, references, linkTargets);
        break;
      }
      const LinkTarget& target = random.pick(linkTargets);
      std::string link = "applenotes:note/" + lowerCase(target.identifier);
      body.paragraph({{.text = "Related: "}, {.text = target.title, .link = link}}, {});
      references.links.push_back(std::move(link));
      break;
    }
  }
}

void addTable(Random& random, BodyWriter& body, BodyReferences& references, bool rightToLeft) {
  int rowCount = random.between(2, 5);
  int columnCount = random.between(2, 4);
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> header;
  for (int column = 0; column < columnCount; ++column) {
    header.push_back(capitalized(random.pick(kNouns)));
  }
  rows.push_back(std::move(header));
  for (int row = 1; row < rowCount; ++row) {
    std::vector<std::string> cells;
    for (int column = 0; column < columnCount; ++column) {
      cells.push_back(random.chance(0.4) ? std::to_string(random.between(1, 9999))
                                         : std::string(random.pick(kAdjectives)));
    }
    rows.push_back(std::move(cells));
  }
  PendingAttachment table{random.uuid(), std::string(kTableTypeUTI),
                          gzipCompress(encodeTableDocument(rows, rightToLeft))};
  body.plain("The numbers so far:");
  body.paragraph({{.text = std::string(kObjectReplacement),
                   .attachmentIdentifier = table.identifier,
                   .attachmentTypeUTI = table.typeUTI}},
                 {});
  references.attachments.push_back(std::move(table));
}

enum class Compression { kNone, kGzip, kZlib };

// A note whose body still has to be compressed; notes are compressed in batches
// on several threads and then added in their original order.
struct PendingNote {
  NotesNoteSpec spec{};
  std::string document{};
  Compression compression = Compression::kNone;
  BodyReferences references{};
};

void compressBodies(std::vector<PendingNote>& notes) {
  size_t workers = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 8);
  size_t chunk = (notes.size() + workers - 1) / workers;
  std::vector<std::exception_ptr> errors(workers);
  auto compressChunk = [&](size_t worker) {
    try {
      for (size_t i = worker * chunk; i < std::min(notes.size(), (worker + 1) * chunk); ++i) {
        PendingNote& note = notes[i];
        if (note.compression == Compression::kGzip) {
          note.spec.bodyData = gzipCompress(note.document);
        } else if (note.compression == Compression::kZlib) {
          note.spec.bodyData = zlibCompress(note.document);
        }
      }
    } catch (...) {
      errors[worker] = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> threads;
    for (size_t worker = 1; worker < workers; ++worker) threads.emplace_back(compressChunk, worker);
    compressChunk(0);
  }
  for (const std::exception_ptr& error : errors) {
    if (error) std::rethrow_exception(error);
  }
}

struct FolderInfo {
  int64_t key = 0;
  int account = 0;  // index into the accounts
  int depth = 1;
};

struct AccountInfo {
  int64_t key = 0;
  int64_t trash = 0;
  int64_t notes = 0;  // the default "Notes" folder
};

class SampleWriter {
 public:
  SampleWriter(const SampleLibraryOptions& options, const std::function<void(int)>& progress)
      : options_(options),
        progress_(progress),
        random_(options.seed),
        builder_(NotesSchemaOptions{}, random_.uuid()) {}

  SampleLibrarySummary write(const std::string& path) {
    summary_.storeUUID = builder_.storeUUID();
    addAccounts();
    addFolders();
    addNotes();
    builder_.write(path);
    return summary_;
  }

 private:
  double randomTime() { return kEndTime - random_.unit() * kTimeSpan; }

  void addAccounts() {
    std::string recordName = "_";
    for (int i = 0; i < 32; ++i) recordName += "0123456789abcdef"[random_.below(16)];
    const NotesAccountSpec specs[] = {
        {.name = "iCloud", .userRecordName = recordName},
        {.name = "On My Mac", .identifier = "LocalAccount"},
        {.name = "alex.morgan@gmail.com"},
    };
    for (const NotesAccountSpec& spec : specs) {
      AccountInfo account;
      account.key = builder_.addAccount(spec);
      accounts_.push_back(account);
      ++summary_.accounts;
    }
  }

  int64_t addFolder(int account, std::string title, std::optional<int64_t> parent, bool listed) {
    int64_t key = builder_.addFolder({.title = std::move(title),
                                      .parent = parent,
                                      .owner = accounts_[account].key,
                                      .markedForDeletion = listed ? 0 : 1,
                                      .modifiedAt = randomTime()});
    if (listed) {
      ++summary_.folders;
    }
    return key;
  }

  // A listed folder that notes can be filed in and that may get subfolders.
  int64_t addOpenFolder(int account, std::string title, std::optional<int64_t> parent, int depth) {
    int64_t key = addFolder(account, std::move(title), parent, true);
    openFolders_.push_back({key, account, depth});
    return key;
  }

  std::string randomFolderTitle() {
    std::string title(random_.pick(kFolderNames));
    if (random_.chance(0.4)) {
      title += " ";
      title += random_.pick(kFolderQualifiers);
    }
    return title;
  }

  int randomAccount() {
    double draw = random_.unit();
    return draw < 0.6 ? 0 : draw < 0.85 ? 1 : 2;
  }

  void addFolders() {
    for (size_t i = 0; i < accounts_.size(); ++i) {
      AccountInfo& account = accounts_[i];
      account.trash = builder_.addFolder(
          {.title = "Recently Deleted", .owner = account.key, .folderType = 1, .modifiedAt = randomTime()});
      account.notes = addOpenFolder(static_cast<int>(i), "Notes", std::nullopt, 1);
    }
    templates_ = addFolder(0, "Templates", std::nullopt, true);
    skills_ = addFolder(0, "Skills", std::nullopt, true);
    // A chain four deep whose titles carry multi-byte text, and top-level titles
    // with a quote and with the path separator in them.
    int64_t parent = addOpenFolder(0, "Projects", std::nullopt, 1);
    parent = addOpenFolder(0, "Café Renovation", parent, 2);
    parent = addOpenFolder(0, "日本語 Notes", parent, 3);
    addOpenFolder(0, "Launch 🚀", parent, 4);
    addOpenFolder(0, "O'Brien Family", std::nullopt, 1);
    addOpenFolder(0, "Work › Archive", std::nullopt, 1);

    int target = options_.folderCount > 0
                     ? options_.folderCount
                     : std::min(kMaxFolders, std::max(kMinFolders, options_.noteCount / kNotesPerFolder));
    while (summary_.folders < target) {
      int account = randomAccount();
      std::optional<FolderInfo> parentFolder = randomParent(account);
      if (parentFolder) {
        addOpenFolder(account, randomFolderTitle(), parentFolder->key, parentFolder->depth + 1);
      } else {
        addOpenFolder(account, randomFolderTitle(), std::nullopt, 1);
      }
    }
    // Folders that Notes deleted but has not purged: never listed, and their
    // notes with them.
    int deletedCount = std::max(1, target / 100);
    for (int i = 0; i < deletedCount; ++i) {
      int account = randomAccount();
      std::optional<FolderInfo> parentFolder = randomParent(account);
      int64_t key = addFolder(account, randomFolderTitle(),
                              parentFolder ? std::optional(parentFolder->key) : std::nullopt, false);
      deletedFolders_.push_back({key, account, 0});
    }
  }

  // A parent for a new folder of `account`, or none for a top-level folder.
  std::optional<FolderInfo> randomParent(int account) {
    if (random_.chance(0.35)) return std::nullopt;
    for (int attempt = 0; attempt < 8; ++attempt) {
      const FolderInfo& candidate = random_.pick(openFolders_);
      if (candidate.account == account && candidate.depth < kMaxFolderDepth) return candidate;
    }
    return std::nullopt;
  }

  void addNotes() {
    addFixedNote(templates_, "Meeting Notes", [](BodyWriter& body) {
      body.plain("Date and attendees go here");
      body.plain("Agenda", styleType(1));
      body.plain("First topic", styleType(102));
      body.plain("Second topic", styleType(102));
      body.plain("Action items", styleType(1));
      body.plain("Owner: task", {.styleType = 103, .checklistDone = false});
    });
    addFixedNote(templates_, "Weekly Review", [](BodyWriter& body) {
      body.plain("What went well this week");
      body.plain("Wins", styleType(2));
      body.plain("", styleType(101));
      body.plain("Next week", styleType(2));
      body.plain("Plan the top three priorities", {.styleType = 103, .checklistDone = false});
    });
    addFixedNote(skills_, "Summarize", [](BodyWriter& body) {
      body.plain("Summarize the note in three short bullet points.");
      body.plain("Keep names, dates and numbers exactly as written.", styleType(101));
      body.plain("End with one line of open questions.", styleType(101));
    });
    addFixedNote(skills_, "Plan a Trip", [](BodyWriter& body) {
      body.plain("Turn the note into a day-by-day itinerary.");
      body.plain("Group places that are close to each other.", styleType(100));
      body.plain("List bookings that still need to be made.", {.styleType = 103, .checklistDone = false});
    });

    for (int index = 0; notesWritten_ < options_.noteCount; ++index) {
      addRandomNote(index);
      if (pending_.size() == kBatchSize) flushPending();
    }
    flushPending();
    addCompressedBatch();
  }

  // Queues a note; counting happens here, so the summary is true of what the
  // batches add later.
  void queueNote(PendingNote note, bool listed) {
    ++notesWritten_;
    if (listed) ++summary_.notes;
    if (note.spec.passwordProtected) ++summary_.lockedNotes;
    if (note.spec.markedForDeletion.value_or(1) == 1) ++summary_.deletedNotes;
    for (const PendingAttachment& attachment : note.references.attachments) {
      if (attachment.tableData) ++summary_.tables;
    }
    summary_.links += static_cast<int>(note.references.links.size());
    pending_.push_back(std::move(note));
  }

  // Hands the queued notes to a background compression job, after adding the
  // previous batch (whose job has to finish first) to the builder.
  void flushPending() {
    addCompressedBatch();
    compressing_ = std::move(pending_);
    pending_.clear();
    compressionError_ = nullptr;
    compression_ = std::jthread([this] {
      try {
        compressBodies(compressing_);
      } catch (...) {
        compressionError_ = std::current_exception();
      }
    });
  }

  void addCompressedBatch() {
    if (compression_.joinable()) compression_.join();
    if (compressionError_) std::rethrow_exception(compressionError_);
    for (PendingNote& note : compressing_) {
      int64_t key = builder_.addNote(note.spec);
      for (PendingAttachment& attachment : note.references.attachments) {
        builder_.addAttachment({.note = key,
                                .identifier = attachment.identifier,
                                .typeUTI = attachment.typeUTI,
                                .mergeableData1 = std::move(attachment.tableData)});
      }
      for (std::string& link : note.references.links) {
        // Notes files link attachments under ZTYPEUTI1; every fourth goes to
        // ZTYPEUTI so that readers meet both.
        builder_.addLink({.sourceNote = key,
                          .tokenContentIdentifier = std::move(link),
                          .useTypeUti1 = linksAdded_++ % 4 != 3});
      }
      ++notesAdded_;
    }
    bool added = !compressing_.empty();
    compressing_.clear();
    if (progress_ && added) progress_(notesAdded_);
  }

  template <typename Fill>
  void addFixedNote(int64_t folder, const std::string& title, Fill fill) {
    if (notesWritten_ >= options_.noteCount) return;
    BodyWriter body;
    body.title(title);
    fill(body);
    double created = randomTime();
    PendingNote note{.spec = {.title = title,
                              .identifier = random_.uuid(),
                              .folder = folder,
                              .account7 = accounts_[0].key,
                              .snippet = secondLine(body),
                              .createdAt = created,
                              .modifiedAt = created},
                     .document = encodeNoteDocument(body.runs()),
                     .compression = Compression::kGzip};
    queueNote(std::move(note), true);
  }

  static std::string secondLine(const BodyWriter& body) {
    std::string text;
    for (const NoteRunSpec& run : body.runs()) text += run.text;
    size_t start = text.find('\n');
    if (start == std::string::npos) return {};
    size_t end = text.find('\n', start + 1);
    return text.substr(start + 1, end == std::string::npos ? std::string::npos : end - start - 1);
  }

  void addRandomNote(int index) {
    // The rarer kinds sit at fixed positions so that every library of a hundred
    // notes or more has each of them at the intended rate.
    bool locked = index % 100 == 13;
    bool trashed = index % 50 == 11;
    bool deleted = index % 100 == 29;
    bool deletedNull = index % 200 == 57;
    bool inDeletedFolder = index % 200 == 83;
    bool zlibBody = index % 100 == 71;
    bool withoutData = index % 300 == 97;
    bool nullData = index % 300 == 197;
    bool withTable = index % kNotesPerFolder == 7;

    FolderInfo folder =
        random_.chance(0.2) ? FolderInfo{accounts_[0].notes, 0, 1} : random_.pick(openFolders_);
    if (trashed) {
      folder.account = randomAccount();
      folder.key = accounts_[folder.account].trash;
      ++summary_.trashedNotes;
    } else if (inDeletedFolder) {
      folder = random_.pick(deletedFolders_);
    }
    std::string title = static_cast<size_t>(index) < std::size(kSpecialNoteTitles)
                            ? std::string(kSpecialNoteTitles[index])
                            : noteTitle(random_);
    std::string identifier = random_.uuid();
    double created = randomTime();
    double modified = created + random_.unit() * random_.unit() * (kEndTime - created);

    PendingNote note{.spec = {.title = title,
                              .identifier = identifier,
                              .folder = folder.key,
                              .markedForDeletion = deleted       ? std::optional<int64_t>(1)
                                                   : deletedNull ? std::nullopt
                                                                 : std::optional<int64_t>(0),
                              .passwordProtected = locked,
                              .createdAt = created,
                              .modifiedAt = modified}};
    // Notes of the third account link to it the way older versions did.
    if (folder.account == 2) {
      note.spec.account4 = accounts_[2].key;
    } else {
      note.spec.account7 = accounts_[folder.account].key;
    }

    if (locked) {
      // Locked bodies are ciphertext; random bytes stand in for it.
      note.spec.bodyData = random_.bytes(random_.between(200, 800));
    } else {
      BodyWriter body;
      body.title(title);
      body.plain(sentences(random_, random_.between(1, 2)));
      note.spec.snippet = secondLine(body);
      size_t targetLength = 300 + random_.below(1200);
      addBlock(static_cast<Block>(index % kBlockCount), random_, body, note.references, linkTargets_);
      if (withTable) addTable(random_, body, note.references, tablesMade_++ % 5 == 4);
      while (body.length() < targetLength) {
        addBlock(randomBlock(random_), random_, body, note.references, linkTargets_);
      }
      if (nullData) {
        note.spec.bodyData = std::string();
      } else if (!withoutData) {
        note.document = encodeNoteDocument(body.runs());
        note.compression = zlibBody ? Compression::kZlib : Compression::kGzip;
      }
    }

    bool listed = !trashed && !inDeletedFolder && !deleted && !deletedNull;
    if (listed && !locked) linkTargets_.push_back({identifier, title});
    queueNote(std::move(note), listed);
  }

  const SampleLibraryOptions& options_;
  const std::function<void(int)>& progress_;
  Random random_;
  NotesLibraryBuilder builder_;
  SampleLibrarySummary summary_;
  int notesWritten_ = 0;
  std::vector<AccountInfo> accounts_;
  std::vector<FolderInfo> openFolders_;
  std::vector<FolderInfo> deletedFolders_;
  std::vector<PendingNote> pending_;      // generated, waiting for the next batch
  std::vector<PendingNote> compressing_;  // the batch the background job works on
  std::exception_ptr compressionError_;
  std::jthread compression_;  // declared after its batch, so joined before that goes away
  int notesAdded_ = 0;
  int tablesMade_ = 0;
  int linksAdded_ = 0;
  int64_t templates_ = 0;
  int64_t skills_ = 0;
  std::vector<LinkTarget> linkTargets_;
};

}  // namespace

SampleLibrarySummary writeSampleLibrary(const std::string& path, const SampleLibraryOptions& options,
                                        const std::function<void(int)>& progress) {
  return SampleWriter(options, progress).write(path);
}

}  // namespace zephyl::notes_store
