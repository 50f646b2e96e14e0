#include "tool/system/named_mutex.h"

#include <map>
#include <mutex>

namespace winapi {

namespace {

struct named_mutexes
{
    std::mutex lock;
    std::map<std::wstring, std::weak_ptr<std::recursive_mutex>> by_name;
};

/// Never destroyed, because initialisations may run while the process ends.
named_mutexes& all_named_mutexes()
{
    static auto& all = *std::make_unique<named_mutexes>().release();
    return all;
}

std::shared_ptr<std::recursive_mutex> create_or_open(const std::wstring& name)
{
    auto& all = all_named_mutexes();
    const std::lock_guard guard(all.lock);
    auto& known = all.by_name[name];
    auto mutex = known.lock();
    if (!mutex) {
        mutex = std::make_shared<std::recursive_mutex>();
        known = mutex;
    }
    return mutex;
}

/// Releases a mutex under the lock of all mutexes: the next owner of the name, whose mutex may be a new one, then sees
/// what was written under this one. The destruction of a shared_ptr does not guarantee this to a thread that finds it
/// expired.
void close(std::shared_ptr<std::recursive_mutex>& mutex)
{
    auto& all = all_named_mutexes();
    const std::lock_guard guard(all.lock);
    mutex.reset();
    std::erase_if(all.by_name, [](const auto& entry) { return entry.second.expired(); });
}

} // namespace

struct named_mutex_lock::state
{
    explicit state(const std::wstring& name)
        : mutex(create_or_open(name))
        , held(*mutex)
    {}

    ~state()
    {
        held.unlock();
        close(mutex);
    }

    state(const state&) = delete;
    state& operator=(const state&) = delete;

    std::shared_ptr<std::recursive_mutex> mutex;
    std::unique_lock<std::recursive_mutex> held;
};

named_mutex_lock::named_mutex_lock(const std::wstring& name)
    : state_(std::make_unique<state>(name))
{}

named_mutex_lock::~named_mutex_lock() = default;

} // namespace winapi
