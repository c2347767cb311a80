// The shadow steps of every family, for whoever stamps all rows of the table.
#pragma once

#include "driver/calls/attrib_stacks.h"
#include "driver/calls/enables.h"
#include "driver/calls/feedback.h"
#include "driver/calls/fixed_state.h"
#include "driver/calls/framebuffers.h"
#include "driver/calls/lists.h"
#include "driver/calls/matrices.h"
#include "driver/calls/names.h"
#include "driver/calls/programs.h"
#include "driver/calls/query_objects.h"
#include "driver/calls/syncs.h"
#include "driver/calls/textures.h"
#include "driver/calls/uniforms.h"
#include "driver/calls/vertex_arrays.h"
#include "driver/queries/counted.h"
