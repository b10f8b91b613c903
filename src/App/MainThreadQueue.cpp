#include "App/MainThreadQueue.h"

#include <QMetaObject>
#include <QThread>
#include <QTimer>
#include <exception>
#include <utility>

namespace keysong {

void MainThreadQueue::asyncAfter(std::chrono::nanoseconds delay, Task task) {
    using std::chrono::milliseconds;
    const auto wait = std::chrono::ceil<milliseconds>(delay);
    QMetaObject::invokeMethod(
        &receiver_,
        [this, wait, task = std::move(task)] {
            if (wait <= milliseconds(0)) {
                task();
            } else {
                QTimer::singleShot(wait, &receiver_, task);
            }
        },
        Qt::QueuedConnection);
}

void MainThreadQueue::sync(const Task& task) {
    if (QThread::currentThread() == receiver_.thread()) {
        task();
        return;
    }
    std::exception_ptr failure;
    QMetaObject::invokeMethod(
        &receiver_,
        [&] {
            try {
                task();
            } catch (...) { // handed to the caller
                failure = std::current_exception();
            }
        },
        Qt::BlockingQueuedConnection);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace keysong
