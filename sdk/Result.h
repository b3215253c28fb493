// Result codes shared by the module and its hosts. Every operation of the
// framework returns one of these 32-bit component-object status values.
#pragma once

#include <cstdint>

using HRESULT = int32_t;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_NOREGISTRY = static_cast<HRESULT>(0x80040010u);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
// Status of a synchronous step whose Execute raised an exception.
constexpr HRESULT STEP_E_EXCEPTION = -999;

constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
constexpr bool FAILED(HRESULT hr) { return hr < 0; }
