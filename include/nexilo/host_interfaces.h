// The host's side of the border: the host interface handed to a plug-in's Init, its component
// manager, and the plugins "productinfo" and "evsink".
//
// Contract: all of these belong to the host and are used by the plug-in, never deleted by it.
// Only the operations this product calls are named; the slots before them are placeholders
// that keep the table's shape (a host implements them, a plug-in never calls them). Plugins
// got from the component manager are given back by name with ReleasePlugin, once per get.
// Threads: the host decides; the plug-in calls from its own threads.
#pragma once

#include "nexilo/cv_base.h"

#include <cstdint>

inline constexpr CvIid kIidProductInfo{{0x5666C9D0, 0x666B9724, 0x61084666, 0xF666C93D}};
inline constexpr CvIid kIidDeviceDetectionEvents{{0x15FD6ADC, 0x8EB2B0EC, 0x433B4883, 0x473D84ED}};

inline constexpr const wchar_t* kProductInfoPluginName = L"productinfo";
inline constexpr const wchar_t* kEvsinkPluginName = L"evsink";

class IComponentManager : public ICvBaseInterface {
public:
    // slot 1: stores the plugin's interface `iid` in *plugin; 0, else an error number.
    virtual std::uint32_t GetPlugin(const wchar_t* name, CvIid iid, void** plugin) = 0;
    // slot 2: gives back one get of the plugin `name`.
    virtual std::uint32_t ReleasePlugin(const wchar_t* name) = 0;

protected:
    ~IComponentManager() = default;
};

class IServHost : public ICvBaseInterface {
public:
    // slot 1: the host's component manager; not owned by the caller.
    virtual IComponentManager* GetComponentManager() = 0;

protected:
    ~IServHost() = default;
};

class IProductInfo : public ICvBaseInterface {
public:
    // slots 1 to 5: not used by this product.
    virtual std::uint32_t ReservedSlot1() = 0;
    virtual std::uint32_t ReservedSlot2() = 0;
    virtual std::uint32_t ReservedSlot3() = 0;
    virtual std::uint32_t ReservedSlot4() = 0;
    virtual std::uint32_t ReservedSlot5() = 0;
    // slot 6: the value at `index` of `section`, or null. The text belongs to the plugin and
    // stays valid while the plugin is held.
    virtual const wchar_t* GetProductValue(std::int32_t index, const wchar_t* section) = 0;

protected:
    ~IProductInfo() = default;
};

class IDeviceDetectionEvents : public ICvBaseInterface {
public:
    // slot 1: the identity of the device's user, for the host's event collection.
    virtual std::uint32_t SetUserData(const wchar_t* userToken, const wchar_t* deviceId,
                                      const wchar_t* appId) = 0;

protected:
    ~IDeviceDetectionEvents() = default;
};
