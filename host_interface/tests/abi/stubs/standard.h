// The minimum of the standard library, and of platform.h, that the class declarations need to be compiled without
// either: names and sizes, no behaviour. Nothing compiled with these is ever run.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

namespace std {

using ::int16_t;
using ::int32_t;
using ::int64_t;
using ::int8_t;
using ::intptr_t;
using ::ptrdiff_t;
using ::size_t;
using ::uint16_t;
using ::uint32_t;
using ::uint64_t;
using ::uint8_t;
using ::uintptr_t;
using ::va_list;
using nullptr_t = decltype(nullptr);

// ---- type_traits

template <typename T, typename U>
inline constexpr bool is_same_v = false;
template <typename T>
inline constexpr bool is_same_v<T, T> = true;
template <typename T>
inline constexpr bool is_trivially_copyable_v = __is_trivially_copyable(T);
template <typename T>
inline constexpr bool is_standard_layout_v = __is_standard_layout(T);

template <typename T>
struct remove_reference {
    using type = T;
};
template <typename T>
struct remove_reference<T&> {
    using type = T;
};

template <typename T>
typename remove_reference<T>::type&& move(T&& value);

// ---- containers and smart pointers

template <typename T>
class Contained {
public:
    Contained();
    Contained(const Contained&);
    Contained& operator=(const Contained&);
    ~Contained();

protected:
    T* _first;
    T* _last;
};

template <typename First, typename Second>
struct pair {
    First first;
    Second second;
};

template <typename Key, typename Value>
class map : public Contained<pair<const Key, Value>> {
public:
    using const_iterator = const pair<const Key, Value>*;
    const_iterator find(const Key& key) const;
    const_iterator end() const;
};

template <typename T>
class vector : public Contained<T> {
public:
    size_t size() const;
    T& operator[](size_t index);
    const T& operator[](size_t index) const;
};

class string : public Contained<char> {
public:
    string();
    explicit string(const char* text);
    const char* c_str() const;
};

template <typename T>
class shared_ptr : public Contained<T> {
public:
    T* get() const;
    T* operator->() const;
    explicit operator bool() const;
};

template <typename T, typename... Arguments>
shared_ptr<T> make_shared(Arguments&&... arguments);

template <typename T>
class weak_ptr : public Contained<T> {
public:
    shared_ptr<T> lock() const;
};

template <typename T>
class unique_ptr : public Contained<T> {
public:
    T* get() const;
    T* operator->() const;
};

template <typename T, typename... Arguments>
unique_ptr<T> make_unique(Arguments&&... arguments);

// ---- functions and threads

template <typename Signature>
class function : public Contained<char> {};

class thread : public Contained<char> {
public:
    class id : public Contained<char> {};
};
class mutex : public Contained<char> {};
class condition_variable : public Contained<char> {};

// ---- atomics

template <typename T>
class atomic {
public:
    atomic() = default;
    atomic(T initial) : _value(initial) {}

private:
    T _value;
};

}  // namespace std

// ---- Windows

struct HINSTANCE__;
using HMODULE = HINSTANCE__*;
using HANDLE = void*;
using DWORD = unsigned long;

#define MAX_PATH 260

struct BITMAPINFOHEADER {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
};

struct RGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
};

struct tagBITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
};
