// TempDir: a fresh, empty folder that is removed, with all it holds, at the end of the scope.
//
//   TempDir dir;
//   dir.write("RaidNLS.properties", "key=value\n");
//   NLSParser parser(dir.file("RaidNLS.properties"));
#ifndef TESTS_SUPPORT_TEMPDIR_H
#define TESTS_SUPPORT_TEMPDIR_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class TempDir {
public:
    TempDir() {
        std::string name = (std::filesystem::temp_directory_path() / "qel-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
        path = name + "/";
    }
    ~TempDir() {
        std::error_code ignored;  // a folder that stays behind fails no test
        std::filesystem::remove_all(path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // The folder, with a final "/".
    const std::string& folder() const { return path; }

    std::string file(const std::string& name) const { return path + name; }

    // Makes the file or replaces its contents in place; missing folders above it are made.
    std::string write(const std::string& name, const std::string& contents) const {
        const std::string full = file(name);
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream out(full, std::ios::binary | std::ios::trunc);
        out << contents;
        out.close();
        if (!out) throw std::runtime_error("cannot write " + full);
        return full;
    }

    // The contents, or "" when there is no such file.
    std::string read(const std::string& name) const {
        std::ifstream in(file(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    bool exists(const std::string& name) const { return std::filesystem::exists(file(name)); }

private:
    std::string path;
};

#endif  // TESTS_SUPPORT_TEMPDIR_H
