// Runs a one-off clean-up when the scope ends, however it ends:
//   ScopeExit idle([&] { m_Executing.store(0); });
// Locks, handles and interface pointers have owners of their own; this is
// for what has none.
#pragma once

#include <utility>

template <class F>
class [[nodiscard]] ScopeExit final {
public:
    explicit ScopeExit(F action) : m_action(std::move(action)) {}
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;
    ~ScopeExit() { m_action(); }

private:
    F m_action;
};
