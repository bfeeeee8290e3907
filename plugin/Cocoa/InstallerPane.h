#pragma once

namespace Cocoa {

/// The services of the installer's own pane class. Does not own the pane object.
class InstallerPane {
  public:
    /// `pane` is the object that the installer made from the bundle's pane class.
    explicit InstallerPane(void* pane) : pane_(pane) {}

    /// Enables or disables the installer's Continue button. Main thread only.
    void setNextEnabled(bool enabled) const;

    void* object() const { return pane_; }

  private:
    void* pane_;
};

}  // namespace Cocoa
