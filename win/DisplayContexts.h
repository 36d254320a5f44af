#pragma once

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>
#include <utility>

#include "zor/ogl/ContextOffscreen.h"

/// Contexts with the display device each was made for, by its device string as the library
/// gives it.
using DisplayContexts =
    std::map<std::string,
             std::pair<boost::shared_ptr<ZOR::OGL::ContextOffscreen>, ZOR::OGL::DisplayDeviceKey>>;

/// One off-screen context per device string; of two display devices with the same one (two
/// monitors on an adapter) the later. A device without a context is left out and said so.
/// Throws when display devices cannot be counted.
DisplayContexts CreateDisplayContexts();
