#include "components/registry/Registry.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "components/registry/SystemError.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk {

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr const char* kSource = "Registry";

class Fd {
  public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    Fd(Fd&& other) noexcept : fd_(other.release()) {}
    Fd& operator=(Fd&&) = delete;
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

  private:
    int fd_;
};

std::string RootName(int64_t root) {
    switch (root) {
        case 0x80000000LL:
            return "ClassesRoot";
        case kHKeyCurrentUser:
            return "CurrentUser";
        case 0x80000002LL:
            return "LocalMachine";
        case 0x80000003LL:
            return "Users";
        default:
            return std::to_string(root);
    }
}

// Non-string leaves (hand edits) read as their JSON text.
std::string LeafText(const json& v) {
    return v.is_string() ? v.get<std::string>() : v.dump();
}

const json* Child(const json& parent, const std::string& key) {
    if (!parent.is_object()) {
        return nullptr;
    }
    auto it = parent.find(key);
    return it == parent.end() ? nullptr : &*it;
}

json& ChildObject(json& parent, const std::string& key) {
    json& child = parent[key];
    if (!child.is_object()) {
        child = json::object();
    }
    return child;
}

enum class LoadResult { Ok, Missing, Corrupt };

// Reads and parses the file. Missing or empty: an empty document.
LoadResult Load(const std::string& path, json& out) {
    Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            out = json::object();
            return LoadResult::Missing;
        }
        RaiseErrno(errno, "Cannot read settings file", path, kSource);
    }
    std::string text;
    char buf[8192];
    for (;;) {
        const ssize_t n = ::read(fd.get(), buf, sizeof buf);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            RaiseErrno(errno, "Cannot read settings file", path, kSource);
        }
        if (n == 0) {
            break;
        }
        text.append(buf, static_cast<size_t>(n));
    }
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        out = json::object();
        return LoadResult::Ok;
    }
    json parsed = json::parse(text, nullptr, false);
    if (parsed.is_discarded() || !parsed.is_object()) {
        return LoadResult::Corrupt;
    }
    for (const char* part : {"values", "forms"}) {
        if (auto it = parsed.find(part); it != parsed.end() && !it->is_object()) {
            return LoadResult::Corrupt;
        }
    }
    out = std::move(parsed);
    return LoadResult::Ok;
}

void MoveAside(const std::string& path) {
    // Keep the damaged file for the user rather than overwriting it.
    if (::rename(path.c_str(), (path + ".bad").c_str()) != 0 && errno != ENOENT) {
        RaiseErrno(errno, "Cannot move aside corrupt settings file", path, kSource);
    }
}

// Takes the writers' lock; the folder must exist.
Fd Lock(const std::string& path) {
    const std::string lockPath = path + ".lock";
    Fd fd(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (fd.get() < 0) {
        RaiseErrno(errno, "Cannot lock settings file", lockPath, kSource);
    }
    while (::flock(fd.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            RaiseErrno(errno, "Cannot lock settings file", lockPath, kSource);
        }
    }
    return fd;
}

// The current document, read afresh: the file is small, and an identity check (inode,
// size, coarse mtime) could miss a quick rewrite by another process.
json Current(const std::string& path) {
    json fresh;
    LoadResult r = Load(path, fresh);
    if (r == LoadResult::Corrupt) {
        // Re-check under the lock: a writer may have just replaced the file.
        Fd lock = Lock(path);
        r = Load(path, fresh);
        if (r == LoadResult::Corrupt) {
            MoveAside(path);
            fresh = json::object();
        }
    }
    return fresh;
}

void WriteAtomically(const std::string& path, const std::string& text) {
    std::string tmp = path + ".tmp.XXXXXX";
    Fd fd(::mkostemp(tmp.data(), O_CLOEXEC));
    if (fd.get() < 0) {
        RaiseErrno(errno, "Cannot write settings file", path, kSource);
    }
    auto fail = [&](int err) {
        ::unlink(tmp.c_str());
        RaiseErrno(err, "Cannot write settings file", path, kSource);
    };
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd.get(), text.data() + done, text.size() - done);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno);
        }
        done += static_cast<size_t>(n);
    }
    if (::fsync(fd.get()) != 0) {
        fail(errno);
    }
    if (::close(fd.release()) != 0) {
        fail(errno);
    }
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        fail(errno);
    }
    // Make the rename itself durable.
    const std::string folder = fs::path(path).parent_path().string();
    Fd dir(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() >= 0) {
        ::fsync(dir.get());
    }
}

template <typename Mutate>
void Update(const std::string& path, Mutate&& mutate) {
    const fs::path parent = fs::path(path).parent_path();
    if (!parent.empty()) {
        std::error_code ec;
        fs::create_directories(parent, ec);
        if (ec) {
            RaiseErrno(ec.value(), "Cannot create settings folder", parent.string(), kSource);
        }
    }
    Fd lock = Lock(path);
    json current;
    if (Load(path, current) == LoadResult::Corrupt) {
        MoveAside(path);
        current = json::object();
    }
    mutate(current);
    std::string text;
    try {
        text = current.dump(2) + "\n";
    } catch (const json::exception&) {
        // Refuse rather than store a mangled text; the file is left as it was.
        throw AutomationError(kErrInvalidProcedureCall,
                              "Settings text is not valid UTF-8; nothing was written", kSource);
    }
    WriteAtomically(path, text);
}

}  // namespace

std::string Registry::DefaultPath() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    std::string base;
    if (xdg != nullptr && xdg[0] == '/') {
        base = xdg;
    } else {
        const char* home = std::getenv("HOME");
        if (home != nullptr && home[0] != '\0') {
            base = home;
        } else if (const struct passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir) {
            base = pw->pw_dir;
        } else {
            base = "/tmp";
        }
        base += "/.config";
    }
    return base + "/vesk4710/settings.json";
}

std::shared_ptr<Registry> Registry::Create(std::string path) {
    if (path.empty()) {
        path = DefaultPath();
    }
    return std::shared_ptr<Registry>(new Registry(std::move(path)));
}

Registry::Registry(std::string path) : path_(std::move(path)) {}

std::string Registry::ReadValue(const std::string& name, int32_t section, int64_t rootKey,
                                const std::string& defaultValue, const std::string& subkey) {
    std::lock_guard guard(mutex_);
    const json doc = Current(path_);
    const json* node = Child(doc, "values");
    for (const std::string& key : {std::to_string(section), RootName(rootKey), subkey, name}) {
        if (node == nullptr) {
            break;
        }
        node = Child(*node, key);
    }
    return node != nullptr && !node->is_object() ? LeafText(*node) : defaultValue;
}

void Registry::WriteValue(const std::string& name, int32_t section, int64_t rootKey,
                          const std::string& value, const std::string& subkey) {
    std::lock_guard guard(mutex_);
    Update(path_, [&](json& doc) {
        json& values = ChildObject(doc, "values");
        json& sub = ChildObject(
            ChildObject(ChildObject(values, std::to_string(section)), RootName(rootKey)), subkey);
        sub[name] = value;
    });
}

void Registry::DeleteValue(const std::string& name, int32_t section, int64_t rootKey,
                           const std::string& subkey) {
    std::lock_guard guard(mutex_);
    Update(path_, [&](json& doc) {
        json* node = &doc;
        for (const std::string& key :
             {std::string("values"), std::to_string(section), RootName(rootKey), subkey}) {
            auto it = node->find(key);
            if (!node->is_object() || it == node->end()) {
                return;
            }
            node = &*it;
        }
        if (node->is_object()) {
            node->erase(name);
        }
    });
}

std::map<std::string, std::string> Registry::LoadFormState(const std::string& form) {
    std::lock_guard guard(mutex_);
    std::map<std::string, std::string> state;
    const json doc = Current(path_);
    const json* forms = Child(doc, "forms");
    const json* entry = forms ? Child(*forms, form) : nullptr;
    if (entry != nullptr && entry->is_object()) {
        for (auto it = entry->begin(); it != entry->end(); ++it) {
            state[it.key()] = LeafText(it.value());
        }
    }
    return state;
}

void Registry::SaveFormState(const std::string& form,
                             const std::map<std::string, std::string>& state) {
    std::lock_guard guard(mutex_);
    Update(path_, [&](json& doc) {
        json entry = json::object();
        for (const auto& [key, value] : state) {
            entry[key] = value;
        }
        ChildObject(doc, "forms")[form] = std::move(entry);
    });
}

}  // namespace vesk
