#include <TSClientInterface/CaClientDataMixin.h>

CaClientData::~CaClientData() = default;

CaClientDataMixin::CaClientDataMixin() = default;

CaClientDataMixin::CaClientDataMixin(const CaClientDataMixin&) {}

CaClientDataMixin& CaClientDataMixin::operator=(const CaClientDataMixin&)
{
    return *this;
}

CaClientDataMixin::~CaClientDataMixin() = default;

CaClientData* CaClientDataMixin::getClientData() const
{
    return m_ClientData.get();
}

CaClientData* CaClientDataMixin::setClientData(CaClientData* data)
{
    if (data != m_ClientData.get())
        m_ClientData.reset(data);
    return data;
}
