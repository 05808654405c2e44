#include "notes_store/export_note_writers.h"

namespace zephyl::notes_store {

ExportNoteWriters::ExportNoteWriters(size_t count, Write write) : write_(std::move(write)) {
  for (size_t w = 0; w < count; ++w) threads_.emplace_back([this, w] { work(w); });
}

ExportNoteWriters::~ExportNoteWriters() {
  {
    core::MutexLock lock(mutex_);
    closing_ = true;
    passOver_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void ExportNoteWriters::add(ExportNoteBatch& batch) {
  {
    core::MutexLock lock(mutex_);
    batch.unfinished = batch.jobs.size();
    queue_.push_back(&batch);
  }
  changed_.notify_all();
}

void ExportNoteWriters::waitFor(const ExportNoteBatch& batch) {
  core::MutexLock lock(mutex_);
  changed_.wait(lock, [&]() ZEPHYL_REQUIRES(mutex_) { return batch.unfinished == 0; });
}

void ExportNoteWriters::passOverTheRest() {
  core::MutexLock lock(mutex_);
  passOver_ = true;
}

void ExportNoteWriters::work(size_t writer) {
  for (;;) {
    ExportNoteBatch* batch = nullptr;
    size_t job = 0;
    bool passOver = false;
    {
      core::MutexLock lock(mutex_);
      changed_.wait(lock, [this]() ZEPHYL_REQUIRES(mutex_) { return closing_ || !queue_.empty(); });
      if (queue_.empty()) return;
      batch = queue_.front();
      job = batch->next++;
      // Its last note taken, the batch leaves the queue; it lives on until
      // that note is finished, since the calling thread waits for it.
      if (batch->next == batch->jobs.size()) queue_.pop_front();
      passOver = passOver_;
    }
    if (!passOver) {
      try {
        write_(batch->jobs[job], writer);
      } catch (...) {
        batch->jobs[job].error = std::current_exception();
      }
    }
    bool last = false;
    {
      core::MutexLock lock(mutex_);
      last = --batch->unfinished == 0;
    }
    if (last) changed_.notify_all();
  }
}

}  // namespace zephyl::notes_store
