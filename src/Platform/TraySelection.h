#pragma once

namespace keysong {

/// Whether a panel of an X server takes in the symbols of other programs as windows.
///
/// One thread. It reads from a descriptor that the owner's event loop watches, and takes round trips to the
/// display server when a panel comes or goes.
class TraySelection {
  public:
    virtual ~TraySelection() = default;

    /// Whether there is such a panel, as far as it is known. Never waits.
    [[nodiscard]] virtual bool isOwned() const = 0;

    /// Readable when there is something to dispatch, and when the server has gone.
    [[nodiscard]] virtual int descriptor() const = 0;

    /// Takes in what the server sent. False once the server has gone: there is no panel from then on, and the
    /// descriptor must not be watched any more.
    virtual bool dispatch() = 0;

  protected:
    TraySelection() = default;
    TraySelection(const TraySelection&) = default;
    TraySelection& operator=(const TraySelection&) = default;
};

} // namespace keysong
