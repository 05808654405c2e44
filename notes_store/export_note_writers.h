// The threads that render and write an export's notes: batches of notes are
// handed over in order, each writer takes the next note not yet taken, and
// goes on to the next batch without waiting for the calling thread to take in
// what the last came to.
#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/mutex.h"
#include "notes_store/note_renderer.h"

namespace zephyl::notes_store {

// One note of a batch to write, and what came of it.
struct ExportNoteJob {
  size_t index = 0;  // into the plan
  int64_t key = 0;   // the note's object key
  std::string body;  // as stored
  // Read only for a note that shows it: one without a readable body.
  std::string preview;
  bool previewRead = false;
  bool bodyOverLimit = false;
  bool mayHaveTables = false;
  bool mayHaveInlineTexts = false;
  // Rendered ahead on the calling thread: the note reads tables or inline
  // texts, and the database connection belongs to that thread.
  std::optional<RenderedNote> rendered;

  // kNeedsPreview: the body was unreadable, and the note is written from its
  // title and preview once the calling thread has read the preview.
  enum class Outcome { kNotDone, kWritten, kSkipped, kOverLimit, kNeedsPreview } outcome = Outcome::kNotDone;
  std::string skipReason;
  size_t tablesUnreadable = 0;
  bool withoutBody = false;
  bool renamed = false;
  std::exception_ptr error;  // anything else that went wrong; rethrown on the calling thread
};

// The notes of one batch.
struct ExportNoteBatch {
  size_t start = 0;  // the plan's notes [start, end)
  size_t end = 0;
  std::vector<ExportNoteJob> jobs;  // those of them to write
  // Taken from and counted down by the writers, under their mutex.
  size_t next = 0;
  size_t unfinished = 0;
};

class ExportNoteWriters {
 public:
  using Write = std::function<void(ExportNoteJob&, size_t writer)>;

  // Starts `count` writers; `write` is called on them, writer 0 to count - 1.
  ExportNoteWriters(size_t count, Write write);
  // Waits for the notes taken to be finished; the rest are not written.
  ~ExportNoteWriters();
  ExportNoteWriters(const ExportNoteWriters&) = delete;
  ExportNoteWriters& operator=(const ExportNoteWriters&) = delete;

  // Hands over a batch with notes; it must live until waitFor(batch) returns.
  void add(ExportNoteBatch& batch);

  // Returns once each note of the batch is written or passed over.
  void waitFor(const ExportNoteBatch& batch);

  // The notes not yet taken are passed over, and stay not done.
  void passOverTheRest();

 private:
  void work(size_t writer);

  const Write write_;
  core::Mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<ExportNoteBatch*> queue_ ZEPHYL_GUARDED_BY(mutex_);
  bool passOver_ ZEPHYL_GUARDED_BY(mutex_) = false;
  bool closing_ ZEPHYL_GUARDED_BY(mutex_) = false;
  std::vector<std::thread> threads_;  // last: they start once the fields they read exist
};

}  // namespace zephyl::notes_store
