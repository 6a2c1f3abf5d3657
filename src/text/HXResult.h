#pragma once

#include "HXError.h"

#include <utility>
#include <variant>

// The outcome of a fallible operation: a value, or the HXError that prevented it.
template <typename T>
class [[nodiscard]] HXResult
{
public:
    HXResult(T value) : m_state(std::in_place_index<0>, std::move(value)) {}
    HXResult(HXError error) : m_state(std::in_place_index<1>, std::move(error)) {}

    bool ok() const { return m_state.index() == 0; }
    explicit operator bool() const { return ok(); }

    T &value() & { return std::get<0>(m_state); }
    const T &value() const & { return std::get<0>(m_state); }
    T &&value() && { return std::get<0>(std::move(m_state)); }
    T valueOr(T fallback) const { return ok() ? std::get<0>(m_state) : std::move(fallback); }

    const HXError &error() const { return std::get<1>(m_state); }

    T *operator->() { return &value(); }
    const T *operator->() const { return &value(); }
    T &operator*() & { return value(); }
    const T &operator*() const & { return value(); }

private:
    std::variant<T, HXError> m_state;
};

// Success or failure with no value.
template <>
class [[nodiscard]] HXResult<void>
{
public:
    HXResult() = default;
    HXResult(HXError error) : m_error(std::move(error)), m_failed(true) {}

    bool ok() const { return !m_failed; }
    explicit operator bool() const { return ok(); }
    const HXError &error() const { return m_error; }

private:
    HXError m_error;
    bool m_failed = false;
};
