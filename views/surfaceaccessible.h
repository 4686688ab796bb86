#pragma once

/// Makes the surface map's cells known to assistive technology, and what its curve and its legend
/// say.
void installsurfaceaccessibility();
