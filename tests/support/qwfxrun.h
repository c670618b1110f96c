// Runs the built qwfx program and captures its exit status and output, for end-to-end
// tests; plus a temporary folder that removes itself.
#pragma once
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

class TestTempDir
{
public:
    TestTempDir()
    {
        std::string sPattern = (std::filesystem::temp_directory_path() / "qwfx-test-XXXXXX").string();
        path = mkdtemp(&sPattern[0]);
    }
    ~TestTempDir() { std::filesystem::remove_all(path); }
    TestTempDir(const TestTempDir&) = delete;
    TestTempDir& operator=(const TestTempDir&) = delete;
    std::string File(const std::string& in_sName) const { return (path / in_sName).string(); }
    std::filesystem::path path;
};

struct QwfxRunResult
{
    int iStatus = -1;   // exit status, or -1 when the program did not exit normally
    std::string sOut;
    std::string sErr;
    std::vector<std::string> ErrLines() const { return Lines(sErr); }
    std::vector<std::string> OutLines() const { return Lines(sOut); }
    static std::vector<std::string> Lines(const std::string& in_sText)
    {
        std::vector<std::string> lines;
        std::istringstream stream(in_sText);
        std::string sLine;
        while (std::getline(stream, sLine))
            lines.push_back(sLine);
        return lines;
    }
};

inline std::string Slurp(const std::string& in_sPath)
{
    std::stringstream text;
    text << std::ifstream(in_sPath, std::ios::binary).rdbuf();
    return text.str();
}

// The program's stdout and stderr go to files in io_dir; qwfx unless another program is named.
inline QwfxRunResult RunQwfx(const std::vector<std::string>& in_args, const TestTempDir& in_dir,
                             const char* in_pszProgram = QWFX_PATH)
{
    std::vector<std::string> argStrings;
    argStrings.push_back(in_pszProgram);
    argStrings.insert(argStrings.end(), in_args.begin(), in_args.end());
    std::vector<char*> argv;
    for (std::string& sArg : argStrings)
        argv.push_back(&sArg[0]);
    argv.push_back(nullptr);

    const std::string sOutFile = in_dir.File(".stdout");
    const std::string sErrFile = in_dir.File(".stderr");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, sOutFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, sErrFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    QwfxRunResult result;
    pid_t pid = 0;
    if (posix_spawn(&pid, in_pszProgram, &actions, nullptr, argv.data(), environ) == 0) {
        int iWait = 0;
        waitpid(pid, &iWait, 0);
        result.iStatus = WIFEXITED(iWait) ? WEXITSTATUS(iWait) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    result.sOut = Slurp(sOutFile);
    result.sErr = Slurp(sErrFile);
    std::filesystem::remove(sOutFile);
    std::filesystem::remove(sErrFile);
    return result;
}
