// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// The system calls of a save can fail, kill the process, or come after a write of another program.
//
// CMakeLists.txt lists these calls, as WRAP(open) and so on in WRAPPED_CALLS, and links with --wrap=open. So the
// store's call of open() comes to __wrap_open() here, and __real_open() is the system's function. Their arguments are
// all passed as numbers.

#include "World.h"
#include "config/ConfigurationFile.h"
#include "config/FileReplacement.h"

#include <csignal>
#include <functional>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace ::testing;
using KyVisa::ConfigurationFile;
using Texts = std::vector<std::string>;

namespace
{

constexpr uid_t ordinary = 65534;
constexpr gid_t ofOthers = 1;

const std::string version = ":KyVisaConfigurationFileVersion01\n";
const std::string replaced = version + ":Provider=3996\nNEW=a b c\n";
const std::string mine = version + "# mine\n";
const std::string yours = version + "#yours\n"; // as many bytes

long callsLeft = -1;        // until the fault; negative: there is none
std::function<int()> fault; // returns the error that the call fails with, or 0
std::string disturbed;      // the name of that call
std::string calls;          // the names of all calls until then
int unknown = 0;            // 0, or how a file system refuses links, locks, access lists and reserved room

using Call = long(long, long, long, long, long);

long intercept(const std::string& name, Call& real, long a, long b, long c, long d, long e)
{
    static const std::set<std::string> refused = {"fallocate",    "fgetxattr", "flock",
                                                  "fremovexattr", "fsetxattr", "link"};
    int error = 0;
    if (callsLeft >= 0)
        calls += name + " ";
    if (callsLeft >= 0 && callsLeft-- == 0)
    {
        disturbed = name;
        error = fault();
    }
    if (error == 0 && refused.count(name) > 0)
        error = unknown;
    if (error != 0)
    {
        errno = error;
        return -1;
    }
    if (name == "read" || name == "pwrite")
        c = (c + 1) / 2; // A call may move less than it is asked to.
    // The tests need not wait for a disk, or for a lock that they have themselves.
    return name == "fsync" || name == "usleep" ? 0 : real(a, b, c, d, e);
}

#define WRAP(name)                                                                                                     \
    extern "C" Call __real_##name;                                                                                     \
    extern "C" long __wrap_##name(long a, long b, long c, long d, long e)                                              \
    {                                                                                                                  \
        return intercept(#name, __real_##name, a, b, c, d, e);                                                         \
    }

WRAPPED_CALLS

/// Makes a folder with one file. Only root may have files of others, so where it can, an ordinary user owns file,
/// folder and home.
void prepare(const std::string& text)
{
    ::umask(022);
    fs::permissions(".", fs::perms(0755));
    fs::permissions("..", fs::perms(0755));
    for (const auto& entry : fs::directory_iterator("."))
        fs::remove(entry);
    fs::remove_all(perUserFile().parent_path());
    writeFile("visa.conf", text);
    fs::last_write_time("visa.conf", fs::file_time_type());
    for (const char* path : {".", "../home", "visa.conf"})
        EXPECT_TRUE(::geteuid() != 0 || ::chown(path, ordinary, ofOthers) == 0);
}

void become(uid_t user)
{
    EXPECT_TRUE(::getuid() != 0 || (::seteuid(0) == 0 && ::setegid(user) == 0 && ::seteuid(user) == 0));
}

/// The text of the file and of its copies, wherever they lie.
Texts textsOf(const fs::path& file)
{
    Texts texts = {readFile(file)};
    for (const fs::path& path : fs::recursive_directory_iterator(".."))
    {
        if (path.native().back() == '~')
            texts.push_back(readFile(path));
    }
    return texts;
}

void replaceBy(const std::string& text)
{
    const std::string other = perUserFile().parent_path();
    KyVisa::FileReplacement{"visa.conf", other, [](const std::string&) { return true; }}.replaceBy(text);
}

/// What a command prints.
std::string shell(const std::string& command)
{
    EXPECT_EQ(std::system((command + " >../output").c_str()), 0) << command;
    return readFile("../output");
}

/// Saves. The fault comes at system call number `call`.
void save(long call)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.m_fileName = "visa.conf";
    store.load();
    store.rememberLoaded();
    store.setData({{"a\nb\nc", "NEW"}});
    store.setProvider(3996);
    callsLeft = call;
    store.save();
    callsLeft = -1;
}

struct OldFile
{
    std::string text = {};  // empty: there is none
    std::string place = {}; // "linked" and "protected": it can only be written in place

    [[nodiscard]] bool hasComment() const { return text.find('#') != std::string::npos; }
};

/// The file is the old or the new one. A comment, and a file torn by a write in place, has a copy.
void expectNothingLost(const OldFile& old, const Texts& texts)
{
    const bool isWhole = texts[0] == old.text || texts[0] == replaced;
    EXPECT_TRUE(isWhole || !old.place.empty()) << texts[0];
    if (old.hasComment() || !isWhole)
    {
        EXPECT_THAT(texts, Contains(old.text));
    }
}

using Check = std::function<void(const OldFile& old, const Texts& texts)>;
using Save = std::function<void(long call)>;

/// Saves with a fault, checks the result and saves again without one. Returns whether the save made so many calls.
bool disturb(const OldFile& old, long call, const Save& saveWithFault, const Check& check)
{
    prepare(old.text);
    if (old.text.empty())
        fs::remove("visa.conf");
    if (old.place == "linked")
        fs::create_hard_link("visa.conf", "visa.conf.link");
    if (old.place == "protected")
        fs::permissions(".", fs::perms(0555));

    disturbed = calls = "";
    become(ordinary);
    saveWithFault(call);
    const Texts texts = textsOf("visa.conf");
    check(old, texts);
    save(-1);
    become(0);
    // No copy changes later.
    EXPECT_THAT(textsOf("visa.conf"), IsSupersetOf(texts.begin() + 1, texts.end()));
    EXPECT_EQ(readFile(old.place == "linked" ? "visa.conf.link" : "visa.conf"), replaced);
    EXPECT_EQ(fs::hard_link_count("visa.conf"), old.place == "linked" ? 2 : 1);
    // Without a lock, nobody can tell a name that is left over.
    for (const fs::path& path : fs::recursive_directory_iterator(".."))
        EXPECT_TRUE(unknown != 0 || path.filename().native().find(".visa.conf") != 0) << path;
    return !disturbed.empty();
}

/// Has the fault at each system call in turn, for all kinds of old files and file systems.
void sweep(const Check& check, const Save& saveWithFault = save)
{
    const std::string entry = version + "OLD=entry\n";
    const std::string comment = version + "#" + std::string(300, 'x');
    const std::vector<int> errors = {EOPNOTSUPP, EINVAL, ENOSYS};
    std::size_t count = 0;
    for (const OldFile& old :
         std::vector<OldFile>{{}, {entry}, {mine}, {entry, "linked"}, {comment, "linked"}, {mine, "protected"}})
    {
        for (const int error : {0, errors[count++ % 3]})
        {
            unknown = error;
            for (long call = 0; disturb(old, call, saveWithFault, check); ++call)
                ASSERT_FALSE(Test::HasFailure())
                    << old.text.substr(0, 50) << " " << old.place << ", call " << call << ", " << disturbed;
            // A sync follows each write and ends the save.
            EXPECT_THAT(calls, Not(ContainsRegex("ftruncate [^f]")));
            EXPECT_THAT(calls, ContainsRegex("(fsync (unlink )*|^)$"));
            ASSERT_FALSE(Test::HasFailure());
        }
    }
    unknown = 0;
}

/// Lets each call fail. Those in `survived` must not stop the save.
void failEachCall(int error, std::set<std::string> survived)
{
    SCOPED_TRACE(error);
    survived.insert({"", "fchown", "flock", "link", "unlink"});
    fault = [error] { return error; };
    sweep([&](const OldFile& old, const Texts& texts) {
        const bool isSaved = texts[0] == replaced;
        EXPECT_TRUE(isSaved || old.text.empty() || survived.count(disturbed) == 0);
        EXPECT_TRUE(isSaved || texts[0] == old.text) << texts[0];
        // A full disk is noticed before the file changes.
        EXPECT_FALSE(isSaved && disturbed == "fallocate" && unknown == 0);
        EXPECT_TRUE(texts.size() <= (isSaved && old.hasComment() ? 2 : 1) || disturbed == "unlink");
        // A protected folder leaves one place for the copy. Where that fails, the save still happens.
        if (!isSaved || old.place != "protected")
            expectNothingLost(old, texts);
    });
}

/// The other calls can come after the last look at the file.
bool isNoticed()
{
    static const std::set<std::string> unnoticed = {"", "fallocate", "ftruncate", "pwrite", "rename"};
    return unnoticed.count(disturbed) == 0;
}

/// Another program writes before each call, and the file's time becomes `time`.
void writeAtEachCall(const std::string& text, std::chrono::nanoseconds time)
{
    fault = [&] {
        writeFile("visa.conf", text);
        fs::last_write_time("visa.conf", fs::file_time_type(time));
        return 0;
    };
    sweep([&](const OldFile&, const Texts& texts) {
        if (isNoticed())
        {
            EXPECT_THAT(texts, Contains(text));
        }
    });
}

} // namespace

TEST(Saving, LosesNothingWhicheverCallFails)
{
    // The old file can still be written in place.
    for (const int error : {EACCES, EBUSY, EPERM, EROFS})
        failEachCall(error, {"fchmod", "fgetxattr", "fremovexattr", "fsetxattr", "rename"});
    failEachCall(EIO, {});
}

TEST(Saving, LosesNothingWhenAllCallsFailFromOneOn)
{
    fault = [] {
        callsLeft = 0;
        return disturbed == "unlink" ? 0 : EIO; // It must not remove the only copy.
    };
    sweep(expectNothingLost);
}

TEST(Saving, LosesNothingWhereverItIsKilled)
{
    fault = [] { return ::raise(SIGKILL); };
    sweep(expectNothingLost, [](long call) {
        const pid_t child = ::fork();
        if (child == 0)
        {
            save(call);
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        disturbed = WIFSIGNALED(status) ? "killed" : "";
    });
}

TEST(Saving, KeepsWhatAnotherProgramWritesMeanwhile)
{
    writeAtEachCall(yours, std::chrono::seconds(1));
    writeAtEachCall(yours, std::chrono::nanoseconds(1));
    writeAtEachCall(yours + "more\n", {});
}

TEST(Saving, KeepsWhatAnotherWindowSavesMeanwhile)
{
    fault = [] { return replaceBy(yours), 0; };
    sweep([&](const OldFile& old, const Texts& texts) {
        if (old.hasComment())
        {
            EXPECT_THAT(texts, Contains(old.text));
        }
        if (isNoticed())
        {
            EXPECT_THAT(texts, IsSupersetOf({yours, replaced}));
        }
    });
}

TEST(Saving, KeepsWhoMayUseTheFile)
{
    for (const char* change : {"chmod 640 visa.conf", "chgrp 2 visa.conf; true", "setfacl -m u:1:r visa.conf",
                               "ln visa.conf link; setfacl -m u:1:r visa.conf", "setfacl -d -m u:1:r ."})
    {
        prepare("old");
        shell(change);
        const std::string before = shell("getfacl -n visa.conf | sed 1d");
        replaceBy("new");
        EXPECT_EQ(shell("getfacl -n visa.conf | sed 1d"), before) << change;
        EXPECT_EQ(shell("getfacl -n visa.conf.~1~ | sed 1d"), before) << change;
    }

    // The copy of a user's own file is a link, which needs no room. A user without the group permits it nothing.
    prepare("old");
    const std::string inode = shell("stat -c %i visa.conf");
    become(ordinary);
    replaceBy("new");
    become(0);
    EXPECT_EQ(shell("stat -c %i visa.conf.~1~"), inode);
    EXPECT_EQ(shell("stat -c %a visa.conf"), ::getuid() == 0 ? "604\n" : "644\n");
    // A user with the group can save another user's file.
    shell("chown 1:65534 visa.conf; chmod 664 visa.conf");
    become(ordinary);
    replaceBy("newer");
    become(0);
    EXPECT_EQ(shell("stat -c %a visa.conf"), "664\n");
}

TEST(Saving, LeavesAloneWhatIsNotItsOwn)
{
    prepare(mine);
    fs::permissions("visa.conf", fs::perms(0444));
    ASSERT_EQ(::mkfifo("pipe", 0666), 0);
    become(ordinary);
    for (const char* name : {"visa.conf", "pipe"})
        KyVisa::ModernConfigurationFile(name).save();
    become(0);
    EXPECT_EQ(readFile("visa.conf"), mine);
    EXPECT_TRUE(fs::is_fifo("pipe"));

    // A temporary file while another process has the lock belongs to that process.
    prepare(mine);
    const int folder = ::open(".", O_RDONLY);
    ::flock(folder, LOCK_EX);
    const fs::path left = ".visa.conf.KyVisaConfigure." + shell("uname -n | tr -d '\\n'") + ".1";
    writeFile(left, "");
    replaceBy("locked");
    EXPECT_TRUE(readFile("visa.conf") == "locked" && fs::exists(left));
    ::close(folder);
    replaceBy("unlocked");
    EXPECT_TRUE(readFile("visa.conf") == "unlocked" && !fs::exists(left));
    fs::create_symlink("visa.conf", left);
    replaceBy("another");
    EXPECT_TRUE(readFile("visa.conf") == "another" && fs::is_symlink(left));
}

// What a file contains after the version line, and what then happens:
//   link      the path becomes a symbolic link to the file
//   open      a window opens: it loads the file and shows it
//   load      the store loads the file, and no window shows it
//   show      a window shows what was loaded
//   setting   the user confirms a serial setting
//   script    another program appends a line
//   restore   another program writes the first text again
//   remove    another program removes the folder
//   save      the save makes no copy
//   copy      the save makes a copy
TABLE(Copies, KeepLinesThatNobodySaw, Row{"Seen", "\nSEEN=here\nseen\n\n \n", "open save"},
      Row{"LastLine", "\n# mine", "open copy save"}, Row{"AliasTwice", "\nA=1\na=2\n", "open copy"},
      Row{"WrittenAgain", "\nnew=a b c\nNew=other\n", "open save"}, Row{"Returns", "\r\n:Provider=5\r\n", "open save"},
      Row{"AfterVersion", " mine\n", "open copy"}, Row{"UnknownWritten", "\nnew=a b c\n\n \t\r\n", "save"},
      Row{"Settings", "\n", "open setting save setting save load save setting save"},
      Row{"SecondWindow", "\n", "open setting save load show copy"},
      Row{"Script", "\n", "open script copy script load copy"}, Row{"Removed", "\n", "open remove save"},
      Row{"Restored", "\n# mine\n", "open copy restore save"}, Row{"Linked", "\n# mine\n", "link open copy"})
{
    fs::path path = perUserFile();
    const std::string text = version.substr(0, version.size() - 1) + GetParam().text;
    writeFile(path, text);
    ConfigurationFile& store = ConfigurationFile::getInstance();
    Texts texts = {""};
    const auto save = [&](bool keepsCopy) {
        if (keepsCopy)
            texts.push_back(readFile(path));
        store.setData({{"a\nb\nc", "NEW"}, {"PLAIN", ""}});
        store.save();
        texts[0] = readFile(path);
        EXPECT_THAT(texts[0], EndsWith("PLAIN\nNEW=a b c\n"));
        EXPECT_THAT(textsOf(path), UnorderedElementsAreArray(texts));
        EXPECT_EQ(fs::exists(path.native() + ".~1~"), texts.size() > 1);
    };
    const std::map<std::string, std::function<void()>> steps = {
        {"link",
         [&] {
             fs::create_directory("../elsewhere");
             fs::rename(path, "../elsewhere/real.conf");
             fs::create_symlink("real.conf", "../elsewhere/linked.conf");
             fs::create_symlink("../../elsewhere/linked.conf", path);
             path = "../elsewhere/real.conf";
         }},
        {"open", [&] { store.load(), store.rememberLoaded(); }},
        {"load", [&] { store.load(); }},
        {"show", [&] { store.rememberLoaded(); }},
        {"setting", [&] { ++store.m_serialProperties[1].baudRate; }},
        {"script", [&] { writeFile(path, readFile(path) + "BY=script\n"); }},
        {"restore", [&] { writeFile(path, text); }},
        {"remove", [&] { fs::remove_all(path.parent_path()); }},
        {"save", [&] { save(false); }},
        {"copy", [&] { save(true); }}};
    std::istringstream words(GetParam().expected);
    for (std::string word; words >> word && !HasFailure();)
    {
        SCOPED_TRACE(word);
        steps.at(word)();
    }
}
