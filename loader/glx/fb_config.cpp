// The selection and sorting rules of GLX 1.4, section 3.3.3, over the driver's configurations.
#include "loader/glx/fb_config.h"

#include <GL/glxext.h>

#include <algorithm>
#include <array>

namespace qv::loader {
namespace {

constexpr int kDontCare = static_cast<int>(GLX_DONT_CARE);

enum class Rule { Minimum, Exact, Mask, Ignored };

struct Criterion {
  int attribute;
  Rule rule;
  int wanted;
};

// Every attribute that glXChooseFBConfig knows, with its default.
constexpr std::array kDefaults{
    Criterion{GLX_BUFFER_SIZE, Rule::Minimum, 0},
    Criterion{GLX_LEVEL, Rule::Exact, 0},
    Criterion{GLX_DOUBLEBUFFER, Rule::Exact, kDontCare},
    Criterion{GLX_STEREO, Rule::Exact, 0},
    Criterion{GLX_AUX_BUFFERS, Rule::Minimum, 0},
    Criterion{GLX_RED_SIZE, Rule::Minimum, 0},
    Criterion{GLX_GREEN_SIZE, Rule::Minimum, 0},
    Criterion{GLX_BLUE_SIZE, Rule::Minimum, 0},
    Criterion{GLX_ALPHA_SIZE, Rule::Minimum, 0},
    Criterion{GLX_DEPTH_SIZE, Rule::Minimum, 0},
    Criterion{GLX_STENCIL_SIZE, Rule::Minimum, 0},
    Criterion{GLX_ACCUM_RED_SIZE, Rule::Minimum, 0},
    Criterion{GLX_ACCUM_GREEN_SIZE, Rule::Minimum, 0},
    Criterion{GLX_ACCUM_BLUE_SIZE, Rule::Minimum, 0},
    Criterion{GLX_ACCUM_ALPHA_SIZE, Rule::Minimum, 0},
    Criterion{GLX_SAMPLE_BUFFERS, Rule::Minimum, 0},
    Criterion{GLX_SAMPLES, Rule::Minimum, 0},
    Criterion{GLX_RENDER_TYPE, Rule::Mask, GLX_RGBA_BIT},
    Criterion{GLX_DRAWABLE_TYPE, Rule::Mask, GLX_WINDOW_BIT},
    Criterion{GLX_X_RENDERABLE, Rule::Exact, kDontCare},
    Criterion{GLX_X_VISUAL_TYPE, Rule::Exact, kDontCare},
    Criterion{GLX_CONFIG_CAVEAT, Rule::Exact, kDontCare},
    Criterion{GLX_TRANSPARENT_TYPE, Rule::Exact, GLX_NONE},
    Criterion{GLX_FRAMEBUFFER_SRGB_CAPABLE_ARB, Rule::Exact, kDontCare},
    Criterion{GLX_VISUAL_ID, Rule::Exact, kDontCare},
    Criterion{GLX_SWAP_METHOD_OML, Rule::Exact, kDontCare},
    // Their values say nothing about a configuration without transparency, and the pbuffer limits are not criteria.
    Criterion{GLX_TRANSPARENT_INDEX_VALUE, Rule::Ignored, kDontCare},
    Criterion{GLX_TRANSPARENT_RED_VALUE, Rule::Ignored, kDontCare},
    Criterion{GLX_TRANSPARENT_GREEN_VALUE, Rule::Ignored, kDontCare},
    Criterion{GLX_TRANSPARENT_BLUE_VALUE, Rule::Ignored, kDontCare},
    Criterion{GLX_TRANSPARENT_ALPHA_VALUE, Rule::Ignored, kDontCare},
    Criterion{GLX_MAX_PBUFFER_WIDTH, Rule::Ignored, kDontCare},
    Criterion{GLX_MAX_PBUFFER_HEIGHT, Rule::Ignored, kDontCare},
    Criterion{GLX_MAX_PBUFFER_PIXELS, Rule::Ignored, kDontCare},
};
using MutableCriteria = std::array<Criterion, kDefaults.size()>;

Criterion* find(MutableCriteria& criteria, int attribute) {
  const auto at = std::find_if(criteria.begin(), criteria.end(), [&](const Criterion& c) { return c.attribute == attribute; });
  return at == criteria.end() ? nullptr : &*at;
}

int wanted(const MutableCriteria& criteria, int attribute) {
  for (const Criterion& c : criteria) {
    if (c.attribute == attribute) return c.wanted;
  }
  return 0;
}

bool matches(const FbConfig& config, const MutableCriteria& criteria) {
  return std::all_of(criteria.begin(), criteria.end(), [&](const Criterion& c) {
    if (c.rule == Rule::Ignored || c.wanted == kDontCare) return true;
    int value = 0;
    if (fbConfigAttribute(config, c.attribute, &value)) return false;
    switch (c.rule) {
      case Rule::Minimum:
        return value >= c.wanted;
      case Rule::Mask:
        return (value & c.wanted) == c.wanted;
      default:
        return value == c.wanted;
    }
  });
}

// Bits of the colour components that the list asks for; the others do not count.
int wantedColourBits(const FbConfig& config, const MutableCriteria& criteria) {
  const auto counts = [&](int attribute) {
    const int bits = wanted(criteria, attribute);
    return bits != 0 && bits != kDontCare;
  };
  return (counts(GLX_RED_SIZE) ? config.red : 0) + (counts(GLX_GREEN_SIZE) ? config.green : 0) +
         (counts(GLX_BLUE_SIZE) ? config.blue : 0) + (counts(GLX_ALPHA_SIZE) ? config.alpha : 0);
}

// The order by an attribute of which 0 is best and otherwise more is better: negative when a comes first.
int largerOrNone(int a, int b) {
  if (a == b) return 0;
  if (a == 0 || b == 0) return a == 0 ? -1 : 1;
  return b - a;
}

void sort(std::vector<const FbConfig*>& configs, const MutableCriteria& criteria) {
  std::stable_sort(configs.begin(), configs.end(), [&](const FbConfig* a, const FbConfig* b) {
    const int differences[] = {
        wantedColourBits(*b, criteria) - wantedColourBits(*a, criteria),
        a->bufferSize - b->bufferSize,
        static_cast<int>(a->doubleBuffer) - static_cast<int>(b->doubleBuffer),
        a->auxBuffers - b->auxBuffers,
        static_cast<int>(a->samples > 0) - static_cast<int>(b->samples > 0),
        a->samples - b->samples,
        largerOrNone(a->depth, b->depth),
        a->stencil - b->stencil,
        largerOrNone(a->accum, b->accum),
        // Not a rule of GLX: a program that has not asked for it is not given linear blending by surprise.
        static_cast<int>(a->srgb) - static_cast<int>(b->srgb),
    };
    for (const int difference : differences) {
      if (difference) return difference < 0;
    }
    return a->id < b->id;
  });
}

std::vector<const FbConfig*> select(const std::vector<const FbConfig*>& all, const MutableCriteria& criteria) {
  std::vector<const FbConfig*> found;
  std::copy_if(all.begin(), all.end(), std::back_inserter(found), [&](const FbConfig* c) { return matches(*c, criteria); });
  sort(found, criteria);
  return found;
}

}  // namespace

int fbConfigAttribute(const FbConfig& config, int attribute, int* value) {
  switch (attribute) {
    case GLX_FBCONFIG_ID:
      *value = config.id;
      return 0;
    // Attributes of visuals, which every library answers of configurations too.
    case GLX_USE_GL:
    case GLX_RGBA:
      *value = True;
      return 0;
    case GLX_BUFFER_SIZE:
      *value = config.bufferSize;
      return 0;
    case GLX_LEVEL:
    case GLX_STEREO:
      *value = 0;
      return 0;
    case GLX_DOUBLEBUFFER:
      *value = config.doubleBuffer;
      return 0;
    case GLX_AUX_BUFFERS:
      *value = config.auxBuffers;
      return 0;
    case GLX_RED_SIZE:
      *value = config.red;
      return 0;
    case GLX_GREEN_SIZE:
      *value = config.green;
      return 0;
    case GLX_BLUE_SIZE:
      *value = config.blue;
      return 0;
    case GLX_ALPHA_SIZE:
      *value = config.alpha;
      return 0;
    case GLX_DEPTH_SIZE:
      *value = config.depth;
      return 0;
    case GLX_STENCIL_SIZE:
      *value = config.stencil;
      return 0;
    case GLX_ACCUM_RED_SIZE:
    case GLX_ACCUM_GREEN_SIZE:
    case GLX_ACCUM_BLUE_SIZE:
    case GLX_ACCUM_ALPHA_SIZE:
      *value = config.accum;
      return 0;
    case GLX_RENDER_TYPE:
      *value = config.floating ? GLX_RGBA_FLOAT_BIT_ARB : GLX_RGBA_BIT;
      return 0;
    case GLX_DRAWABLE_TYPE:
      *value = config.window ? GLX_WINDOW_BIT | GLX_PIXMAP_BIT | GLX_PBUFFER_BIT : GLX_PBUFFER_BIT;
      return 0;
    case GLX_X_RENDERABLE:
      *value = config.visualId != 0;
      return 0;
    case GLX_VISUAL_ID:
      *value = static_cast<int>(config.visualId);
      return 0;
    case GLX_X_VISUAL_TYPE:
      *value = config.visualId ? GLX_TRUE_COLOR : GLX_NONE;
      return 0;
    case GLX_CONFIG_CAVEAT:
    case GLX_TRANSPARENT_TYPE:
      *value = GLX_NONE;
      return 0;
    case GLX_TRANSPARENT_INDEX_VALUE:
    case GLX_TRANSPARENT_RED_VALUE:
    case GLX_TRANSPARENT_GREEN_VALUE:
    case GLX_TRANSPARENT_BLUE_VALUE:
    case GLX_TRANSPARENT_ALPHA_VALUE:
      *value = 0;
      return 0;
    case GLX_MAX_PBUFFER_WIDTH:
      *value = kMaxPbufferWidth;
      return 0;
    case GLX_MAX_PBUFFER_HEIGHT:
      *value = kMaxPbufferHeight;
      return 0;
    case GLX_MAX_PBUFFER_PIXELS:
      *value = kMaxPbufferWidth * kMaxPbufferHeight;
      return 0;
    case GLX_SAMPLE_BUFFERS:
      *value = config.samples > 0;
      return 0;
    case GLX_SAMPLES:
      *value = config.samples;
      return 0;
    case GLX_SWAP_METHOD_OML:
      *value = GLX_SWAP_UNDEFINED_OML;
      return 0;
    case GLX_FRAMEBUFFER_SRGB_CAPABLE_ARB:
      *value = config.srgb;
      return 0;
    default:
      return GLX_BAD_ATTRIBUTE;
  }
}

std::vector<const FbConfig*> chooseFbConfigs(const std::vector<const FbConfig*>& all, const int* attributes) {
  MutableCriteria criteria = kDefaults;
  for (; attributes && *attributes != None; attributes += 2) {
    if (attributes[0] == GLX_FBCONFIG_ID && attributes[1] != kDontCare) {
      // The id names one configuration and everything else in the list is passed over.
      std::vector<const FbConfig*> found;
      std::copy_if(all.begin(), all.end(), std::back_inserter(found), [&](const FbConfig* c) { return c->id == attributes[1]; });
      return found;
    }
    if (attributes[0] == GLX_FBCONFIG_ID) continue;
    Criterion* const criterion = find(criteria, attributes[0]);
    if (!criterion) return {};
    criterion->wanted = attributes[1];
  }
  return select(all, criteria);
}

const FbConfig* chooseVisualConfig(const std::vector<const FbConfig*>& all, const int* attributes) {
  MutableCriteria criteria = kDefaults;
  // By default the list asks for a single-buffered colour index visual. The driver has no colour index visual.
  find(criteria, GLX_DOUBLEBUFFER)->wanted = False;
  bool rgba = false;
  while (attributes && *attributes != None) {
    switch (*attributes) {
      case GLX_USE_GL:
        ++attributes;
        continue;
      case GLX_RGBA:
        rgba = true;
        ++attributes;
        continue;
      case GLX_DOUBLEBUFFER:
      case GLX_STEREO:
        find(criteria, *attributes)->wanted = True;
        ++attributes;
        continue;
      default:
        break;
    }
    Criterion* const criterion = find(criteria, attributes[0]);
    if (!criterion) return nullptr;
    criterion->wanted = attributes[1];
    attributes += 2;
  }
  if (!rgba) return nullptr;
  for (const FbConfig* config : select(all, criteria)) {
    if (config->ownsVisual) return config;
  }
  return nullptr;
}

}  // namespace qv::loader
