// A folder beside the certificate folders in which files are made before they take their place by a rename.
#pragma once

#include <string>

#include "certificate/open_file.h"

namespace tarn::host {

class DraftFolder {
 public:
    // 0 or an errno. Removes what a killed process left behind long ago.
    static int make(DraftFolder& draft);

    DraftFolder() = default;
    DraftFolder(DraftFolder&&) = default;
    DraftFolder& operator=(DraftFolder&&) = default;
    DraftFolder(const DraftFolder&) = delete;
    DraftFolder& operator=(const DraftFolder&) = delete;
    // Removes the folder that has its name by then, with all in it.
    ~DraftFolder();

    int folder() const { return folder_.get(); }

    // Moves a file of the draft to `path`, in place of the one there. 0 or an errno.
    int moveFile(const std::string& name, const std::string& path) const;
    // Gives the whole draft the place of the folder at `path`, if there is one; that becomes the draft.
    int takePlaceOf(const std::string& path) const;
    // Takes the folder at `path` into the draft.
    int takeIn(const std::string& path) const;

 private:
    std::string path_;
    OwnedDescriptor folder_;
};

} // namespace tarn::host
