// The one temporary folder of the tests: a new private folder under the
// system's temporary folder, removed with everything in it when the object
// goes. Each is new (mkdtemp), so a path is never reused within a run.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace testsupport {

class TempFolder final {
public:
    explicit TempFolder(const std::string& tag = "shadow-test") {
        std::string pattern = (std::filesystem::temp_directory_path() / (tag + "-XXXXXX")).string();
        if (!::mkdtemp(pattern.data())) ADD_FAILURE() << "cannot make a temporary folder " << pattern;
        m_path = pattern;
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::string Root() const { return m_path.string(); }
    // The path of `relative` (bytes) inside the folder.
    std::string File(const std::string& relative) const { return (m_path / relative).string(); }
    std::string operator/(const std::string& relative) const { return File(relative); }

private:
    std::filesystem::path m_path;
};

} // namespace testsupport
