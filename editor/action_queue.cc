#include "editor/action_queue.h"

#include "editor/internal/serial_executor.h"

namespace zephyl::editor {
namespace {

class SerialActionQueue : public ActionQueue {
 public:
  void post(std::function<void()> work) override { executor_.post(std::move(work)); }

 private:
  internal::SerialExecutor executor_;
};

}  // namespace

std::unique_ptr<ActionQueue> makeSerialActionQueue() { return std::make_unique<SerialActionQueue>(); }

}  // namespace zephyl::editor
