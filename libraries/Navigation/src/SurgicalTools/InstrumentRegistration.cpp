#include <SurgicalTools/BurrCalibrator.h>
#include <SurgicalTools/CArmBase.h>
#include <SurgicalTools/DrillGuide.h>
#include <SurgicalTools/DrillTool.h>
#include <SurgicalTools/DynamicReference.h>
#include <SurgicalTools/PointerTool.h>
#include <SurgicalTools/RoundBurrTool.h>

namespace
{

// Registers the instruments when the library is loaded, so that settings may name them before any code does. They stand
// in one source because only there the order of initialisation is fixed.
const int burrCalibratorFactory = createBurrCalibratorFactory();
const int cArmBaseFactory = createCArmBaseFactory();
const int drillGuideFactory = createDrillGuideFactory();
const int drillToolFactory = createDrillToolFactory();
const int dynamicReferenceFactory = createDynamicReferenceFactory();
const int pointerToolFactory = createPointerToolFactory();
const int roundBurrToolFactory = createRoundBurrToolFactory();

} // namespace
