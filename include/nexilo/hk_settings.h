// IHKSettings: the host's settings plugin ("HKSettings"), and the nodes it hands out.
//
// Contract: GetNode(path) gives a counted node, or null when there is none; the caller gives it
// back with Release, once. A node's reads take a key, an out value and a flags word that is 0
// here; they return true when the key was there and leave `out` untouched otherwise. Its writes
// store a value under a key and return true when stored. Keys and texts are NUL-terminated wide
// strings. GetString writes a cv::StringW with the plugin's own string code: pass a string made by
// the caller's module that already has a block (Reserve), so that the plugin grows and fills it
// only through the string's own memory manager. An empty handle would make the plugin's code
// allocate the string's record, which the caller's module later deletes: across compilers that
// works only when both share the C runtime's heap. Threads: the host's; the plug-in does not
// serialise calls.
#pragma once

#include "nexilo/cv_base.h"
#include "nexilo/cv_string.h"

#include <cstdint>

inline constexpr CvIid kIidHKSettings{{0xBD1BE6B7, 0x81BB0FC7, 0x7A314E29, 0xBC846F9B}};
inline constexpr const wchar_t* kHKSettingsPluginName = L"HKSettings";

class IHKSettingsNode : public ICvBaseInterface {
public:
    // slot 1
    virtual bool GetString(const wchar_t* key, cv::StringW& out, std::uint32_t flags) = 0;
    // slot 2
    virtual bool GetInt(const wchar_t* key, std::int32_t& out, std::uint32_t flags) = 0;
    // slot 3
    virtual bool GetInt64(const wchar_t* key, std::int64_t& out, std::uint32_t flags) = 0;
    // slot 4
    virtual bool GetBool(const wchar_t* key, bool& out, std::uint32_t flags) = 0;
    // slot 5
    virtual bool SetString(const wchar_t* key, const wchar_t* value) = 0;
    // slot 6
    virtual bool SetInt(const wchar_t* key, std::int32_t value) = 0;
    // slot 7
    virtual bool SetInt64(const wchar_t* key, std::int64_t value) = 0;
    // slot 8
    virtual bool SetBool(const wchar_t* key, bool value) = 0;
    // slot 9: gives back this reference on the node.
    virtual void Release() = 0;

protected:
    ~IHKSettingsNode() = default;
};

class IHKSettings : public ICvBaseInterface {
public:
    // slot 1: the node at `path` ("/Nexilo"), counted, or null.
    virtual IHKSettingsNode* GetNode(const wchar_t* path) = 0;

protected:
    ~IHKSettings() = default;
};
