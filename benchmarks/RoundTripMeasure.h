#pragma once

#include "BareServer.h"
#include "Measure.h"

/// Requests and answers: how many in a second, how long they take, and what they cost the server. The tool server plays
/// a tracking log and is measured in turn with the bare server.
class RoundTripMeasure : public Measure
{
public:
    enum class Request
    {
        POSE,      ///< the pose of one tool
        ALL_POSES, ///< the poses of all tools
        POSE_BATCH ///< BATCH_SIZE requests for the pose of one tool in one send, then all their answers
    };
    static constexpr int BATCH_SIZE = 16;

    struct Setup
    {
        QString name;
        bool isQuick;
        Request request;
        int clients;
        int tools;
        bareServer::Sends bareSends;
        double ratePerClient; ///< requests per second; 0: without a pause
    };

    explicit RoundTripMeasure(const Setup& setup);

    QString name() const override;
    QString description(const MeasureSettings& settings) const override;
    bool isQuick() const override;
    bool isSteadyUnpinned() const override;
    std::vector<Figure> run(const MeasureSettings& settings) const override;

private:
    int numberOfClients(const MeasureSettings& settings) const;

    const Setup m_Setup;
};
