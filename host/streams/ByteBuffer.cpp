#include "host/streams/ByteBuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace host {

namespace {
constexpr size_t kReserveHint = 1u << 20;
} // namespace

HRESULT ByteBuffer::Create(void* buffer, unsigned long size, bool growable) {
    m_own.clear();
    m_own.shrink_to_fit();
    m_growable = growable;
    m_position = 0;
    if (buffer) {
        m_external = static_cast<uint8_t*>(buffer);
        m_externalSize = size;
        m_length = size;
        m_limit = size;
    } else {
        m_external = nullptr;
        m_externalSize = 0;
        m_length = 0;
        m_limit = size;
        // Only a hint: a fixed stream's own storage still grows as it fills.
        m_own.reserve(std::min<size_t>(size, kReserveHint));
    }
    return S_OK;
}

HRESULT ByteBuffer::Reset(bool clear) {
    m_position = 0;
    if (clear) {
        m_length = 0;
        if (!m_external) m_own.clear();
    }
    return S_OK;
}

HRESULT ByteBuffer::Seek(long offset, unsigned int origin, unsigned long* position) {
    long long base;
    switch (origin) {
    case 0: base = 0; break;
    case 1: base = static_cast<long long>(m_position); break;
    case 2: base = static_cast<long long>(m_length); break;
    default: return E_INVALIDARG;
    }
    const long long target = base + offset;
    if (target < 0 || target > static_cast<long long>(m_length)) return E_INVALIDARG;
    m_position = static_cast<size_t>(target);
    if (position) *position = static_cast<unsigned long>(m_position);
    return S_OK;
}

HRESULT ByteBuffer::GetStream(void** data, unsigned long* size) {
    if (!data && !size) return E_POINTER;
    if (data) *data = Data();
    if (size) *size = static_cast<unsigned long>(m_length);
    return S_OK;
}

HRESULT ByteBuffer::Read(void* data, unsigned int size, unsigned int* read) {
    if (read) *read = 0;
    if (!data && size) return E_POINTER;
    const size_t n = std::min<size_t>(size, m_length - m_position);
    if (n) std::memcpy(data, Data() + m_position, n);
    m_position += n;
    if (read) *read = static_cast<unsigned int>(n);
    return n == size ? S_OK : S_FALSE;
}

HRESULT ByteBuffer::Write(const void* data, unsigned int size, unsigned int* written) {
    if (written) *written = 0;
    if (!data && size) return E_POINTER;
    if (!size) return S_OK;
    const size_t end = m_position + size;
    if (!Reserve(end)) return E_FAIL;
    std::memcpy(Data() + m_position, data, size);
    m_position = end;
    m_length = std::max(m_length, end);
    if (written) *written = size;
    return S_OK;
}

void ByteBuffer::Assign(std::string_view bytes) {
    m_external = nullptr;
    m_externalSize = 0;
    m_growable = true;
    m_own.assign(bytes.begin(), bytes.end());
    m_length = bytes.size();
    m_position = 0;
}

std::string_view ByteBuffer::View() const {
    return std::string_view(reinterpret_cast<const char*>(Data()), m_length);
}

uint8_t* ByteBuffer::Data() { return m_external ? m_external : m_own.data(); }

const uint8_t* ByteBuffer::Data() const { return m_external ? m_external : m_own.data(); }

size_t ByteBuffer::Capacity() const {
    if (m_external) return m_externalSize;
    return m_growable ? std::numeric_limits<size_t>::max() : m_limit;
}

bool ByteBuffer::Reserve(size_t total) {
    if (total <= m_length) return true;
    try {
        if (total > Capacity()) {
            if (!m_growable) return false;
            // Leaves the caller's buffer for storage of our own.
            std::vector<uint8_t> copy(m_external, m_external + m_length);
            copy.resize(total);
            m_own.swap(copy);
            m_external = nullptr;
            m_externalSize = 0;
        }
        if (!m_external) m_own.resize(total);
    } catch (const std::bad_alloc&) {
        return false; // the write fails and the content stays as it was
    }
    return true;
}

} // namespace host
