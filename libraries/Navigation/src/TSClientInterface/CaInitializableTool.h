#pragma once

#include <TSClientInterface/CaNormalInfo.h>
#include <TSClientInterface/CaTool.h>

#include <optional>

/// A tool that the client can describe to the tool server.
///
/// Results of the three server operations: status codes of CaToolServer; the server's are passed on unchanged. Without
/// a server: NO_CONNECTION (-1). When the tool lacks what the operation needs: UNKNOWN_TOOL (-11), with an "ERROR" log
/// line.
/// Thread, destruction: as for CaTool; every operation here holds the tool's mutex.
class TBR_NAVIGATION_EXPORT CaInitializableTool : public CaTool
{
    Q_OBJECT
public:
    /// As for CaTool. The getters below tell the initial values.
    CaInitializableTool(CaToolServer* server, const char* name, unsigned char type, int numberOfImags,
                        int numberOfReals);
    ~CaInitializableTool() override;

    /// 0 at first.
    int getIdentifier() const;
    void setIdentifier(int identifier);
    /// Null at first; lives until the next setOwnerName().
    const char* getOwnerName() const;
    /// Copies the text; null for none.
    void setOwnerName(const char* ownerName);
    /// -1 at first.
    int getCalibrationStartIndex() const;
    void setCalibrationStartIndex(int index);
    /// 0 at first.
    int getCalibrationDate() const;
    void setCalibrationDate(int date);
    /// 0 at first.
    int getNumberOfPlugs() const;
    void setNumberOfPlugs(int number);
    /// Owned by the tool, null at first; lives until setNormalInfo() takes it away.
    CaNormalInfo* getNormalInfo() const;
    /// Copies `info`; null deletes the tool's own.
    void setNormalInfo(const CaNormalInfo* info);

    void setNumberOfReals(int n) override;
    void setNumberOfImags(int n) override;

    /// Describes the tool to the server. It must be plugged. A missing owner name is sent as an empty one.
    int initialize();
    /// Replaces normals and limits by the server's; makes a normal info of getNumberOfReals() normals when there is
    /// none. A failure changes nothing. At most 32 normals come from the server; further ones become default vectors.
    int readNormalInfo();
    /// Sends normals and limits to the server, the angle limit without its fraction. The tool must be plugged and have
    /// a normal info.
    int writeNormalInfo();

private:
    int m_Identifier;
    std::optional<std::string> m_OwnerName;
    int m_CalibrationStartIndex;
    int m_CalibrationDate;
    int m_NumberOfPlugs;
    std::unique_ptr<CaNormalInfo> m_NormalInfo;
};
