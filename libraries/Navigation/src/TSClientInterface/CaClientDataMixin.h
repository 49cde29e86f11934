#pragma once

#include <TSBase/Export.h>

#include <memory>

/// What an application hangs on a tool: it derives its own class from this one.
class TBR_NAVIGATION_EXPORT CaClientData
{
public:
    virtual ~CaClientData();
};

/// Lets an application hang one object of its own on a tool.
///
/// Ownership: the mixin owns the object and deletes it when it is replaced and when the mixin dies. The object stays
/// where it was hung: a copy starts without data, and an assignment leaves both sides' data alone.
/// Thread: not guarded; use it from one thread at a time.
class TBR_NAVIGATION_EXPORT CaClientDataMixin
{
public:
    /// No data.
    CaClientDataMixin();
    CaClientDataMixin(const CaClientDataMixin& other);
    CaClientDataMixin& operator=(const CaClientDataMixin& other);
    ~CaClientDataMixin();

    /// Null when there is none.
    CaClientData* getClientData() const;
    /// Takes ownership of `data` (null for none), deletes the former object unless it is the same one, and returns
    /// `data`.
    CaClientData* setClientData(CaClientData* data);

private:
    std::unique_ptr<CaClientData> m_ClientData;
};
