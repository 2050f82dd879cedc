#include "Platform/MakeHost.h"
#include "Tapwell/Control/TapwellMain.h"

/// The only place that knows which host there is: the one that was linked.
int main() {
    const auto host = tapwell::makeHost();
    return tapwell::TapwellMain(*host, nullptr).main();
}
