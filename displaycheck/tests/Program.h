#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "simulated_mac/description/ReadFile.h"

/// The built program, run as users run it.
namespace test {

struct Finished {
    int status = -1;  ///< exit status; -1 when a signal ended the program
    std::string output;
    std::string errors;         ///< messages on one line each
    std::string printedErrors;  ///< as they came
};

/// A folder for one test's files, removed with it.
class Folder {
  public:
    Folder()
        : path_(std::filesystem::path(testing::TempDir()) /
                ("displaycheck-test-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(path_);
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string path(const std::string& name) const { return (path_ / name).string(); }
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path_ / name, std::ios::binary) << bytes;
        return path(name);
    }
    std::string read(const std::string& name) const {
        return simulated_mac::readFile(path_ / name);
    }

  private:
    std::filesystem::path path_;
};

inline std::string quoted(const std::string& word) {
    std::string text = "'";
    for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

/// The text with paragraphs on one line whose further lines are indented by so many blanks.
inline std::string unwrapped(std::string text, std::size_t indent) {
    const std::string lineBreak = "\n" + std::string(indent, ' ');
    for (std::size_t at = text.find(lineBreak); at != std::string::npos;
         at = text.find(lineBreak, at + 1)) {
        if (text[at + lineBreak.size()] != ' ') text.replace(at, lineBreak.size(), " ");
    }
    return text;
}

/// Runs the program with these arguments and this standard input.
inline Finished run(const Folder& folder, const std::vector<std::string>& arguments,
                    const std::string& input = "") {
    folder.write("stdin", input);
    std::string line = quoted(DISPLAYCHECK_PROGRAM);
    for (const std::string& argument : arguments) line += " " + quoted(argument);
    line += " <" + quoted(folder.path("stdin")) + " >" + quoted(folder.path("stdout")) + " 2>" +
            quoted(folder.path("stderr"));
    const int status = std::system(line.c_str());
    const std::string errors = folder.read("stderr");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read("stdout"),
            unwrapped(errors, 2), errors};
}

inline std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/// One JSON object a line.
inline std::vector<nlohmann::ordered_json> jsonLinesOf(const std::string& text) {
    std::vector<nlohmann::ordered_json> objects;
    for (const std::string& line : linesOf(text)) {
        objects.push_back(nlohmann::ordered_json::parse(line));
    }
    return objects;
}

inline std::vector<std::string> keysOf(const nlohmann::ordered_json& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.push_back(key);
    return keys;
}

}  // namespace test
