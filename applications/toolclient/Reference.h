#pragma once

#include <QObject>
#include <QString>

class CaToolList;

/// The tool that the user named the frame of reference, also after the tool set has changed: a server goes back to the
/// camera's frame when the tool is taken away, and knows nothing of its coming back.
class Reference : public QObject
{
public:
    /// `toolList` is borrowed. An empty name stands for the camera.
    Reference(const QString& toolName, CaToolList& toolList);

    /// Makes it the server's frame of reference. Returns a status code; UNKNOWN_TOOL while there is no such tool.
    int set();
    /// Whether poses are told in its frame. False while the tool is missing: they would be in the camera's.
    bool isSet() const { return m_IsSet; }

private:
    const QString m_ToolName;
    CaToolList& m_ToolList;
    bool m_IsSet;
};
