#include "App/HeldKeys.h"

namespace keysong {

void HeldKeys::setDown(const KeyBitmap& down) {
    if (isWatching_ && down_ != down) {
        down_ = down;
        emit downChanged();
    }
}

void HeldKeys::setWatching(bool isWatching) {
    if (isWatching_ == isWatching) {
        return;
    }
    setDown({});
    isWatching_ = isWatching;
    emit watchingChanged();
}

} // namespace keysong
