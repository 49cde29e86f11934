// Follows all kinds of surgical instruments and prints, in the frame of the patient's reference and in millimetres,
// what navigation needs of them: a line each second, and one whenever something changes.
//   navigation [HOST [PORT]] [--seconds N]
// The settings (see TBR_SETTINGS) name the client-interface module and the instruments; navigation.ini has them.

#include <SurgicalTools/BurrCalibrator.h>
#include <SurgicalTools/CArmBase.h>
#include <SurgicalTools/DrillTool.h>
#include <SurgicalTools/DynamicReference.h>
#include <SurgicalTools/PointerTool.h>
#include <SurgicalTools/RoundBurrTool.h>
#include <SurgicalTools/SurgicalToolBox.h>
#include <TSClientInterface/CaToolServer.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <iostream>
#include <map>
#include <stdexcept>

namespace
{

constexpr int UPDATE_PERIOD_MS = 50;
constexpr int REPORT_PERIOD_MS = 1000;
constexpr double DRILL_BIT_LENGTH = 110.0;

/// An instrument of the settings, bound to its rigid body.
template <class Instrument>
Instrument& instrument(const char* name)
{
    auto* const found = qobject_cast<Instrument*>(SurgicalToolBox::getInstance()->getTool(std::string(name)));
    const std::string description = std::string(Instrument::staticMetaObject.className()) + " \"" + name + "\"";
    if (!found)
        throw std::runtime_error("The settings have no " + description + ".");
    if (!found->getRigidBody())
        throw std::runtime_error("The tool server does not know the rigid body of the " + description + ".");
    return *found;
}

QString text(const Vector3d& v)
{
    return QString("(%1 %2 %3)").arg(v.x, 0, 'f', 1).arg(v.y, 0, 'f', 1).arg(v.z, 0, 'f', 1);
}

QString text(const Vector3d& position, bool isValid)
{
    return isValid ? text(position) : "out of view";
}

/// Where a line of the drill begins and ends.
QString text(const TransMatrix3d& frameFromDrill, const Line3d& line)
{
    return text(frameFromDrill * line.point) + " to " + text(frameFromDrill * (line.point + line.direction));
}

class Navigation
{
public:
    Navigation() : m_CArmIsInView(false)
    {
        m_Clock.start();
        m_Drill.setDrillGuide(&m_Guide);
        // Not by setDrillLength(), after which the corrected axis is the old one until the next move.
        const Line3d body = m_Drill.getBodyAxis();
        m_Drill.setTip(body.point + body.direction + body.direction.normalized(DRILL_BIT_LENGTH));
        m_BurrTip = m_Burr.getRigidBody()->getRigImag(0);
        m_BurrShaft = m_Burr.getRigidBody()->getRigImag(1);
        QObject::connect(&m_CArm, &SurgicalTool::ToolMovedSIG,
                         [this](TransMatrix3d, bool isValid) { m_CArmIsInView = isValid; });
    }

    /// Takes new poses and tells what has changed; a negative status is that of the connection. Instruments are asked
    /// from here and not from their ToolMovedSIG: asking for a position measures, and a measurement moves them again.
    int update()
    {
        const int status = SurgicalToolBox::getInstance()->getToolList()->updateAllTransforms(true);
        if (status < 0)
            return status;
        tellChange("drill", isSnapped() ? "snapped to the guide" : "free");
        tellChange("burr", hole());
        tellChange("C-arm base", m_CArmIsInView ? "in view" : "out of view");
        return status;
    }

    void report()
    {
        Vector3d tip;
        const bool isTipValid = m_Pointer.getTipPosition(&tip, &m_Reference);
        const Vector3d centre = m_Burr.getBurrPosition(&m_Reference);
        print("pointer tip " + text(tip, isTipValid) + ", burr centre " +
              text(centre, m_Burr.getRigidBody()->isImagsValid()) + " radius " + QString::number(m_Burr.getRadius()) +
              ", drill " + drillAxes());
    }

private:
    void print(const QString& line)
    {
        const QString seconds = QString::number(static_cast<double>(m_Clock.elapsed()) / 1000.0, 'f', 1);
        std::cout << (seconds + " s: " + line).toStdString() << std::endl;
    }

    void tellChange(const char* subject, const QString& state)
    {
        QString& told = m_Told[subject];
        if (told != state)
            print(QString(subject) + " " + state);
        told = state;
    }

    /// A snapped axis is never exactly the drill's own one, and one that is not snapped always is.
    bool isSnapped() { return m_Drill.getCorrectedAxis() != m_Drill.getDrillAxis(); }

    /// In which hole the burr sits. The hole that takes it tells the radius of its head.
    QString hole()
    {
        const bool isIn5mm = m_Block.isIn5mmHole(&m_Burr);
        if (!isIn5mm && !m_Block.isIn8mmHole(&m_Burr))
            return "in no hole";
        teachRadius(isIn5mm ? 2.5 : 4.0);
        return isIn5mm ? "in the 5 mm hole" : "in the 8 mm hole";
    }

    /// Teaches the tip first, because setRadius() moves the centre back from wherever it is.
    void teachRadius(double radius)
    {
        if (m_Burr.getRadius() == radius)
            return;
        m_Burr.setAxis(m_BurrTip, m_BurrShaft);
        m_Burr.setRadius(radius);
    }

    QString drillAxes()
    {
        TransMatrix3d cameraFromDrill;
        TransMatrix3d cameraFromReference;
        if (!m_Drill.getToolTransformation(cameraFromDrill) || !m_Reference.getToolTransformation(cameraFromReference))
            return "out of view";
        const TransMatrix3d referenceFromDrill = cameraFromReference.inverted() * cameraFromDrill;
        return "body " + text(referenceFromDrill, m_Drill.getBodyAxis()) + ", bit " +
               text(referenceFromDrill, m_Drill.getDrillAxis()) + ", corrected " +
               text(referenceFromDrill, m_Drill.getCorrectedAxis()) + (isSnapped() ? " snapped" : " free");
    }

    DynamicReference& m_Reference = instrument<DynamicReference>("Reference");
    PointerTool& m_Pointer = instrument<PointerTool>("Pointer");
    DrillGuide& m_Guide = instrument<DrillGuide>("Guide");
    DrillTool& m_Drill = instrument<DrillTool>("Drill");
    BurrCalibrator& m_Block = instrument<BurrCalibrator>("Block");
    RoundBurrTool& m_Burr = instrument<RoundBurrTool>("Burr");
    CArmBase& m_CArm = instrument<CArmBase>("C-arm");
    Vector3d m_BurrTip;   // as the server knows it, before any radius was taught
    Vector3d m_BurrShaft; // likewise
    bool m_CArmIsInView;
    std::map<std::string, QString> m_Told;
    QElapsedTimer m_Clock;
};

/// Runs until the time is over (never, for 0) or the server is lost, and returns the exit status.
int navigate(double seconds)
{
    Navigation navigation;
    QTimer updates;
    QObject::connect(&updates, &QTimer::timeout,
                     [&]
                     {
                         const int status = navigation.update();
                         if (status >= 0)
                             return;
                         std::cerr << CaToolServer::getMessage(status) << std::endl;
                         QCoreApplication::exit(1);
                     });
    QTimer reports;
    QObject::connect(&reports, &QTimer::timeout, [&] { navigation.report(); });
    updates.start(UPDATE_PERIOD_MS);
    reports.start(REPORT_PERIOD_MS);
    if (seconds > 0.0)
        QTimer::singleShot(static_cast<int>(seconds * 1000.0), [] { QCoreApplication::exit(0); });
    return QCoreApplication::exec();
}

int run(const QString& host, int port, double seconds)
{
    // Connecting binds the instruments; they keep their rigid bodies from then on.
    SurgicalToolBox& box = *SurgicalToolBox::getInstance();
    const CaError error = box.connect(host.toStdString(), port);
    if (error != CaError::nullError)
        throw std::runtime_error("No tool server answers at " + host.toStdString() + ":" + std::to_string(port) + " (" +
                                 error.getName() + ").");
    const int status = navigate(seconds);
    box.getToolList()->disconnect();
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption seconds("seconds", "End after so many seconds (default: run on).", "N", "0");
    parser.addOption(seconds);
    parser.addPositionalArgument("HOST", "Where the tool server runs (default: localhost).", "[HOST");
    parser.addPositionalArgument("PORT", "Its TCP port (default: 2222).", "[PORT]]");
    parser.addHelpOption();
    parser.process(application);

    bool isNumber = false;
    const double duration = parser.value(seconds).toDouble(&isNumber);
    if (!isNumber || !(duration >= 0.0 && duration <= 86400.0))
    {
        std::cerr << "--seconds needs a number from 0 to 86400." << std::endl;
        return 2;
    }
    const QStringList arguments = parser.positionalArguments();
    try
    {
        return run(arguments.value(0, "localhost"), arguments.value(1, "2222").toInt(), duration);
    }
    catch (const std::exception& error)
    {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}
