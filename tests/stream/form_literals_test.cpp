// What stands behind the pointers of a call, in bytes, typed in for every row whose data has a length of its own: the other tests
// take the key, the sizes and the factor of a form from the row, and so cannot see a wrong row.
#include <cstring>
#include <map>
#include <set>
#include <string>

#include "tests/stream/program_fixture.h"
#include "tests/support/context_fixture.h"
#include "tests/support/row_calls.h"

namespace qv::test {
namespace {

constexpr uint64_t P = ~uint64_t{0};  // an array

struct Literal {
  const char* routine;
  std::vector<uint64_t> arguments;
  uint32_t command;    // bytes, with the header
  uint32_t reply = 0;  // bytes of a query's answer
};

// clang-format off
const std::vector<Literal> kLiterals = {
    {"glDeleteBuffers", {2, P}, 16}, {"glDeleteVertexArrays", {2, P}, 16},
    {"glFogfv", {GL_FOG_COLOR, P}, 24}, {"glFogfv", {GL_FOG_DENSITY, P}, 12},
    {"glFogiv", {GL_FOG_COLOR, P}, 24}, {"glFogiv", {GL_FOG_MODE, P}, 12},
    {"glLightModelfv", {GL_LIGHT_MODEL_AMBIENT, P}, 24}, {"glLightModelfv", {GL_LIGHT_MODEL_TWO_SIDE, P}, 12},
    {"glLightModeliv", {GL_LIGHT_MODEL_AMBIENT, P}, 24}, {"glLightModeliv", {GL_LIGHT_MODEL_TWO_SIDE, P}, 12},
    {"glTexParameterfv", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glTexParameterfv", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 28},
    {"glTexParameterfv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LOD, P}, 16},
    {"glTexParameteriv", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glTexParameteriv", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 28},
    {"glTexParameteriv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 16},
    {"glTexParameterIiv", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glTexParameterIiv", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 28},
    {"glTexParameterIiv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 16},
    {"glTexParameterIuiv", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glTexParameterIuiv", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 28},
    {"glTexParameterIuiv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 16},
    {"glTexParameterIivEXT", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glTexParameterIivEXT", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 28},
    {"glTexParameterIivEXT", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 16},
    {"glTexParameterIuivEXT", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glTexParameterIuivEXT", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 28},
    {"glTexParameterIuivEXT", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 16},
    {"glTexGendv", {GL_S, GL_TEXTURE_GEN_MODE, P}, 20}, {"glTexGendv", {GL_TEXTURE_GEN_MODE, GL_EYE_PLANE, P}, 44},
    {"glTexGenfv", {GL_S, GL_TEXTURE_GEN_MODE, P}, 16}, {"glTexGenfv", {GL_TEXTURE_GEN_MODE, GL_EYE_PLANE, P}, 28},
    {"glTexGeniv", {GL_S, GL_TEXTURE_GEN_MODE, P}, 16}, {"glTexGeniv", {GL_TEXTURE_GEN_MODE, GL_EYE_PLANE, P}, 28},
    {"glConvolutionParameterfv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_BORDER_COLOR, P}, 28},
    {"glConvolutionParameterfv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_FILTER_SCALE, P}, 28},
    {"glConvolutionParameterfv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_FILTER_BIAS, P}, 28},
    {"glConvolutionParameterfv", {GL_CONVOLUTION_BORDER_COLOR, GL_CONVOLUTION_BORDER_MODE, P}, 16},
    {"glConvolutionParameteriv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_BORDER_COLOR, P}, 28},
    {"glConvolutionParameteriv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_FILTER_SCALE, P}, 28},
    {"glConvolutionParameteriv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_FILTER_BIAS, P}, 28},
    {"glConvolutionParameteriv", {GL_CONVOLUTION_BORDER_COLOR, GL_CONVOLUTION_BORDER_MODE, P}, 16},
    {"glPointParameterfv", {GL_POINT_DISTANCE_ATTENUATION, P}, 20}, {"glPointParameterfv", {GL_POINT_SIZE_MIN, P}, 12},
    {"glPointParameteriv", {GL_POINT_DISTANCE_ATTENUATION, P}, 20}, {"glPointParameteriv", {GL_POINT_SIZE_MIN, P}, 12},
    {"glCombinerParameterfvNV", {GL_CONSTANT_COLOR0_NV, P}, 24}, {"glCombinerParameterfvNV", {GL_CONSTANT_COLOR1_NV, P}, 24},
    {"glCombinerParameterfvNV", {GL_NUM_GENERAL_COMBINERS_NV, P}, 12},
    {"glCombinerParameterivNV", {GL_CONSTANT_COLOR0_NV, P}, 24}, {"glCombinerParameterivNV", {GL_CONSTANT_COLOR1_NV, P}, 24},
    {"glCombinerParameterivNV", {GL_NUM_GENERAL_COMBINERS_NV, P}, 12},
    {"glCombinerStageParameterfvNV", {GL_COMBINER0_NV, GL_CONSTANT_COLOR0_NV, P}, 28},
    {"glCombinerStageParameterfvNV", {GL_COMBINER0_NV, GL_CONSTANT_COLOR1_NV, P}, 28},
    {"glCombinerStageParameterfvNV", {GL_CONSTANT_COLOR0_NV, 1, P}, 16},
    {"glClearBufferiv", {GL_COLOR, 0, P}, 28}, {"glClearBufferiv", {GL_STENCIL, 0, P}, 16},
    {"glClearBufferuiv", {GL_COLOR, 0, P}, 28}, {"glClearBufferuiv", {1, GL_COLOR, P}, 16},
    {"glClearBufferfv", {GL_COLOR, 0, P}, 28}, {"glClearBufferfv", {GL_DEPTH, 0, P}, 16},
    {"glSamplerParameteriv", {1, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glSamplerParameteriv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_WRAP_S, P}, 16},
    {"glSamplerParameterfv", {1, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glSamplerParameterfv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MIN_LOD, P}, 16},
    {"glSamplerParameterIiv", {1, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glSamplerParameterIiv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_WRAP_S, P}, 16},
    {"glSamplerParameterIuiv", {1, GL_TEXTURE_BORDER_COLOR, P}, 28},
    {"glSamplerParameterIuiv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_WRAP_S, P}, 16},
    {"glPatchParameterfv", {GL_PATCH_DEFAULT_INNER_LEVEL, P}, 16}, {"glPatchParameterfv", {GL_PATCH_DEFAULT_OUTER_LEVEL, P}, 24},

    {"glLightfv", {GL_LIGHT0, GL_AMBIENT, P}, 32}, {"glLightfv", {GL_LIGHT0, GL_SPOT_DIRECTION, P}, 28},
    {"glLightfv", {GL_AMBIENT, GL_SPOT_CUTOFF, P}, 20},
    {"glLightiv", {GL_LIGHT0, GL_AMBIENT, P}, 32}, {"glLightiv", {GL_LIGHT0, GL_SPOT_DIRECTION, P}, 28},
    {"glLightiv", {GL_AMBIENT, GL_SPOT_CUTOFF, P}, 20},
    {"glMaterialfv", {GL_FRONT, GL_AMBIENT_AND_DIFFUSE, P}, 32}, {"glMaterialfv", {GL_FRONT, GL_COLOR_INDEXES, P}, 28},
    {"glMaterialfv", {GL_AMBIENT, GL_SHININESS, P}, 20},
    {"glMaterialiv", {GL_FRONT, GL_AMBIENT_AND_DIFFUSE, P}, 32}, {"glMaterialiv", {GL_FRONT, GL_COLOR_INDEXES, P}, 28},
    {"glMaterialiv", {GL_AMBIENT, GL_SHININESS, P}, 20},
    {"glTexEnvfv", {GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, P}, 32}, {"glTexEnvfv", {GL_TEXTURE_ENV, GL_CULL_MODES_NV, P}, 32},
    {"glTexEnvfv", {GL_TEXTURE_ENV, GL_OFFSET_TEXTURE_MATRIX_NV, P}, 32}, {"glTexEnvfv", {GL_TEXTURE_ENV, GL_CONST_EYE_NV, P}, 28},
    {"glTexEnvfv", {GL_TEXTURE_ENV_COLOR, GL_TEXTURE_ENV_MODE, P}, 20},
    {"glTexEnviv", {GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, P}, 32}, {"glTexEnviv", {GL_TEXTURE_ENV, GL_CONST_EYE_NV, P}, 28},
    {"glTexEnviv", {GL_TEXTURE_ENV_COLOR, GL_TEXTURE_ENV_MODE, P}, 20},

    {"glDeleteTextures", {3, P}, 20}, {"glPrioritizeTextures", {3, P, P}, 32}, {"glDeleteQueries", {3, P}, 20},
    {"glDrawBuffers", {3, P}, 20}, {"glDeleteProgramsARB", {3, P}, 20}, {"glDeleteRenderbuffersEXT", {3, P}, 20},
    {"glDeleteFramebuffersEXT", {3, P}, 20}, {"glDeleteRenderbuffers", {3, P}, 20}, {"glDeleteFramebuffers", {3, P}, 20},
    {"glDeleteSamplers", {3, P}, 20}, {"glDeleteTransformFeedbacks", {3, P}, 20},
    {"glWeightbvARB", {3, P}, 11}, {"glWeightsvARB", {3, P}, 14}, {"glWeightivARB", {3, P}, 20}, {"glWeightfvARB", {3, P}, 20},
    {"glWeightdvARB", {3, P}, 32}, {"glWeightubvARB", {3, P}, 11}, {"glWeightusvARB", {3, P}, 14}, {"glWeightuivARB", {3, P}, 20},
    {"glProgramStringARB", {GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_FORMAT_ASCII_ARB, 5, P}, 21},
    {"glProgramEnvParameters4fvEXT", {GL_VERTEX_PROGRAM_ARB, 7, 2, P}, 48},
    {"glProgramLocalParameters4fvEXT", {GL_VERTEX_PROGRAM_ARB, 7, 2, P}, 48},
    {"glViewportArrayv", {1, 2, P}, 44}, {"glScissorArrayv", {1, 2, P}, 44}, {"glDepthRangeArrayv", {1, 2, P}, 44},
    {"glInvalidateFramebuffer", {GL_FRAMEBUFFER, 3, P}, 24},
    {"glInvalidateSubFramebuffer", {GL_FRAMEBUFFER, 3, P, 4, 5, 6, 7}, 40},

    {"glGetClipPlane", {GL_CLIP_PLANE0, P}, 8, 32},
    {"glGetTexLevelParameterfv", {GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, P}, 16, 4},
    {"glGetTexLevelParameteriv", {GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, P}, 16, 4},
    {"glGetHistogramParameterfv", {GL_HISTOGRAM, GL_HISTOGRAM_WIDTH, P}, 12, 4},
    {"glGetHistogramParameteriv", {GL_HISTOGRAM, GL_HISTOGRAM_WIDTH, P}, 12, 4},
    {"glGetMinmaxParameterfv", {GL_MINMAX, GL_MINMAX_FORMAT, P}, 12, 4},
    {"glGetMinmaxParameteriv", {GL_MINMAX, GL_MINMAX_FORMAT, P}, 12, 4},
    {"glGetProgramEnvParameterdvARB", {GL_VERTEX_PROGRAM_ARB, 1, P}, 12, 32},
    {"glGetProgramEnvParameterfvARB", {GL_VERTEX_PROGRAM_ARB, 1, P}, 12, 16},
    {"glGetProgramLocalParameterdvARB", {GL_VERTEX_PROGRAM_ARB, 1, P}, 12, 32},
    {"glGetProgramLocalParameterfvARB", {GL_VERTEX_PROGRAM_ARB, 1, P}, 12, 16},
    {"glGetProgramivARB", {GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_LENGTH_ARB, P}, 12, 4},
    {"glGetCombinerInputParameterfvNV", {1, 2, 3, 4, P}, 20, 4}, {"glGetCombinerInputParameterivNV", {1, 2, 3, 4, P}, 20, 4},
    {"glGetCombinerOutputParameterfvNV", {1, 2, 3, P}, 16, 4}, {"glGetCombinerOutputParameterivNV", {1, 2, 3, P}, 16, 4},
    {"glGetFinalCombinerInputParameterfvNV", {1, 2, P}, 12, 4}, {"glGetFinalCombinerInputParameterivNV", {1, 2, P}, 12, 4},
    {"glGetCombinerStageParameterfvNV", {GL_COMBINER0_NV, GL_CONSTANT_COLOR0_NV, P}, 12, 16},
    {"glGetCombinerStageParameterfvNV", {GL_COMBINER0_NV, GL_CONSTANT_COLOR1_NV, P}, 12, 16},
    {"glGetCombinerStageParameterfvNV", {GL_CONSTANT_COLOR0_NV, 1, P}, 12, 4},
    {"glGetRenderbufferParameterivEXT", {GL_RENDERBUFFER, GL_RENDERBUFFER_WIDTH, P}, 12, 4},
    {"glGetRenderbufferParameteriv", {GL_RENDERBUFFER, GL_RENDERBUFFER_WIDTH, P}, 12, 4},
    {"glGetFramebufferAttachmentParameterivEXT", {GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, 1, P}, 16, 4},
    {"glGetFramebufferAttachmentParameteriv", {GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, 1, P}, 16, 4},

    {"glGetTexGendv", {GL_S, GL_TEXTURE_GEN_MODE, P}, 12, 8}, {"glGetTexGendv", {GL_TEXTURE_GEN_MODE, GL_EYE_PLANE, P}, 12, 32},
    {"glGetTexGenfv", {GL_S, GL_TEXTURE_GEN_MODE, P}, 12, 4}, {"glGetTexGenfv", {GL_TEXTURE_GEN_MODE, GL_EYE_PLANE, P}, 12, 16},
    {"glGetTexGeniv", {GL_S, GL_TEXTURE_GEN_MODE, P}, 12, 4}, {"glGetTexGeniv", {GL_TEXTURE_GEN_MODE, GL_EYE_PLANE, P}, 12, 16},
    {"glGetTexParameterfv", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetTexParameterfv", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 12, 16},
    {"glGetTexParameterfv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LOD, P}, 12, 4},
    {"glGetTexParameteriv", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetTexParameteriv", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 12, 16},
    {"glGetTexParameteriv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 12, 4},
    {"glGetTexParameterIiv", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetTexParameterIiv", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 12, 16},
    {"glGetTexParameterIiv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 12, 4},
    {"glGetTexParameterIuiv", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetTexParameterIuiv", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 12, 16},
    {"glGetTexParameterIuiv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 12, 4},
    {"glGetTexParameterIivEXT", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetTexParameterIivEXT", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 12, 16},
    {"glGetTexParameterIivEXT", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 12, 4},
    {"glGetTexParameterIuivEXT", {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetTexParameterIuivEXT", {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, P}, 12, 16},
    {"glGetTexParameterIuivEXT", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_MAX_LEVEL, P}, 12, 4},
    {"glGetConvolutionParameterfv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_BORDER_COLOR, P}, 12, 16},
    {"glGetConvolutionParameterfv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_FILTER_SCALE, P}, 12, 16},
    {"glGetConvolutionParameterfv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_FILTER_BIAS, P}, 12, 16},
    {"glGetConvolutionParameterfv", {GL_CONVOLUTION_BORDER_COLOR, GL_CONVOLUTION_WIDTH, P}, 12, 4},
    {"glGetConvolutionParameteriv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_BORDER_COLOR, P}, 12, 16},
    {"glGetConvolutionParameteriv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_FILTER_SCALE, P}, 12, 16},
    {"glGetConvolutionParameteriv", {GL_CONVOLUTION_1D, GL_CONVOLUTION_FILTER_BIAS, P}, 12, 16},
    {"glGetConvolutionParameteriv", {GL_CONVOLUTION_BORDER_COLOR, GL_CONVOLUTION_WIDTH, P}, 12, 4},
    {"glGetSamplerParameteriv", {1, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetSamplerParameteriv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_WRAP_S, P}, 12, 4},
    {"glGetSamplerParameterfv", {1, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetSamplerParameterfv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_WRAP_S, P}, 12, 4},
    {"glGetSamplerParameterIiv", {1, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetSamplerParameterIiv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_WRAP_S, P}, 12, 4},
    {"glGetSamplerParameterIuiv", {1, GL_TEXTURE_BORDER_COLOR, P}, 12, 16},
    {"glGetSamplerParameterIuiv", {GL_TEXTURE_BORDER_COLOR, GL_TEXTURE_WRAP_S, P}, 12, 4},

    {"glGetBooleanv", {GL_SCISSOR_BOX, P}, 12, 4}, {"glGetIntegerv", {GL_SCISSOR_BOX, P}, 12, 16},
    {"glGetFloatv", {GL_SCISSOR_BOX, P}, 12, 16}, {"glGetDoublev", {GL_SCISSOR_BOX, P}, 12, 32},
    {"glGetInteger64v", {GL_SCISSOR_BOX, P}, 12, 32}, {"glGetBooleani_v", {GL_SCISSOR_BOX, 1, P}, 16, 4},
    {"glGetIntegeri_v", {GL_SCISSOR_BOX, 1, P}, 16, 16}, {"glGetFloati_v", {GL_SCISSOR_BOX, 1, P}, 16, 16},
    {"glGetDoublei_v", {GL_SCISSOR_BOX, 1, P}, 16, 32}, {"glGetInteger64i_v", {GL_SCISSOR_BOX, 1, P}, 16, 32},
    {"glGetBooleanIndexedvEXT", {GL_SCISSOR_BOX, 1, P}, 16, 4}, {"glGetIntegerIndexedvEXT", {GL_SCISSOR_BOX, 1, P}, 16, 16},
    {"glGetLightfv", {GL_LIGHT0, GL_SPOT_DIRECTION, P}, 16, 12}, {"glGetLightiv", {GL_LIGHT0, GL_SPOT_DIRECTION, P}, 16, 12},
    {"glGetMaterialfv", {GL_FRONT, GL_COLOR_INDEXES, P}, 16, 12}, {"glGetMaterialiv", {GL_FRONT, GL_COLOR_INDEXES, P}, 16, 12},
    {"glGetTexEnvfv", {GL_TEXTURE_ENV, GL_CONST_EYE_NV, P}, 16, 12},
    {"glGetTexEnviv", {GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, P}, 16, 16},
    {"glGetMapdv", {GL_MAP1_VERTEX_3, GL_DOMAIN, P}, 16, 16}, {"glGetMapfv", {GL_MAP2_VERTEX_3, GL_DOMAIN, P}, 16, 16},
    {"glGetMapiv", {GL_MAP1_VERTEX_3, GL_DOMAIN, P}, 16, 8}, {"glGetMultisamplefv", {GL_SAMPLE_POSITION, 2, P}, 16, 8},

    {"glGenProgramsARB", {3, P}, 8, 12}, {"glGenRenderbuffersEXT", {3, P}, 8, 12}, {"glGenFramebuffersEXT", {3, P}, 8, 12},
    {"glGenRenderbuffers", {3, P}, 8, 12}, {"glGenFramebuffers", {3, P}, 8, 12}, {"glGenSamplers", {3, P}, 8, 12},
    {"glGenProgramPipelines", {3, P}, 8, 12},
    {"glGetInternalformativ", {GL_RENDERBUFFER, GL_RGBA8, GL_SAMPLES, 3, P}, 20, 12},

    // --- programs and queries; the uniforms are those of linkProgramOfEveryType() ---
    {"glUniform1fv", {10, 2, P}, 20}, {"glUniform1iv", {110, 2, P}, 20},
    {"glUniform1uiv", {210, 2, P}, 20}, {"glUniform1uivEXT", {210, 2, P}, 20},
    {"glUniform1dv", {310, 2, P}, 28}, {"glUniform2fv", {20, 2, P}, 28},
    {"glUniform2iv", {120, 2, P}, 28}, {"glUniform2uiv", {220, 2, P}, 28},
    {"glUniform2uivEXT", {220, 2, P}, 28}, {"glUniform2dv", {320, 2, P}, 44},
    {"glUniform3fv", {30, 2, P}, 36}, {"glUniform3iv", {130, 2, P}, 36},
    {"glUniform3uiv", {230, 2, P}, 36}, {"glUniform3uivEXT", {230, 2, P}, 36},
    {"glUniform3dv", {330, 2, P}, 60}, {"glUniform4fv", {40, 2, P}, 44},
    {"glUniform4iv", {140, 2, P}, 44}, {"glUniform4uiv", {240, 2, P}, 44},
    {"glUniform4uivEXT", {240, 2, P}, 44}, {"glUniform4dv", {340, 2, P}, 76},
    {"glProgramUniform1fv", {2, 10, 2, P}, 24}, {"glProgramUniform1iv", {2, 110, 2, P}, 24},
    {"glProgramUniform1uiv", {2, 210, 2, P}, 24}, {"glProgramUniform1dv", {2, 310, 2, P}, 32},
    {"glProgramUniform2fv", {2, 20, 2, P}, 32}, {"glProgramUniform2iv", {2, 120, 2, P}, 32},
    {"glProgramUniform2uiv", {2, 220, 2, P}, 32}, {"glProgramUniform2dv", {2, 320, 2, P}, 48},
    {"glProgramUniform3fv", {2, 30, 2, P}, 40}, {"glProgramUniform3iv", {2, 130, 2, P}, 40},
    {"glProgramUniform3uiv", {2, 230, 2, P}, 40}, {"glProgramUniform3dv", {2, 330, 2, P}, 64},
    {"glProgramUniform4fv", {2, 40, 2, P}, 48}, {"glProgramUniform4iv", {2, 140, 2, P}, 48},
    {"glProgramUniform4uiv", {2, 240, 2, P}, 48}, {"glProgramUniform4dv", {2, 340, 2, P}, 80},
    {"glDeleteProgramPipelines", {3, P}, 20}, {"glUniformSubroutinesuiv", {GL_VERTEX_SHADER, 3, P}, 24},
    {"glGetQueryiv", {GL_SAMPLES_PASSED, GL_CURRENT_QUERY, P}, 12, 4}, {"glGetQueryIndexediv", {GL_SAMPLES_PASSED, 1, GL_CURRENT_QUERY, P}, 16, 4},
    {"glGetQueryObjectiv", {1, GL_QUERY_RESULT, P}, 12, 4}, {"glGetQueryObjectuiv", {1, GL_QUERY_RESULT, P}, 12, 4},
    {"glGetQueryObjecti64v", {1, GL_QUERY_RESULT, P}, 12, 8}, {"glGetQueryObjectui64v", {1, GL_QUERY_RESULT, P}, 12, 8},
    {"glGetAttachedShaders", {2, 3, P, P}, 12, 4}, {"glGetProgramiv", {2, GL_LINK_STATUS, P}, 12, 4},
    {"glGetProgramiv", {2, GL_COMPUTE_WORK_GROUP_SIZE, P}, 12, 12}, {"glGetProgramInfoLog", {2, 9, P, P}, 12, 4},
    {"glGetShaderiv", {5, GL_COMPILE_STATUS, P}, 12, 4}, {"glGetShaderInfoLog", {5, 9, P, P}, 12, 4},
    {"glGetShaderSource", {5, 9, P, P}, 12, 4}, {"glGetObjectParameterfvARB", {2, GL_OBJECT_TYPE_ARB, P}, 12, 4},
    {"glGetObjectParameterivARB", {2, GL_OBJECT_TYPE_ARB, P}, 12, 4}, {"glGetInfoLogARB", {2, 9, P, P}, 12, 4},
    {"glGetActiveUniformBlockiv", {2, 0, GL_UNIFORM_BLOCK_DATA_SIZE, P}, 16, 4}, {"glGetActiveUniformBlockName", {2, 0, 9, P, P}, 16, 4},
    {"glGetUniformSubroutineuiv", {GL_VERTEX_SHADER, 0, P}, 12, 4}, {"glGetProgramStageiv", {2, GL_VERTEX_SHADER, GL_ACTIVE_SUBROUTINES, P}, 16, 4},
    {"glGetProgramPipelineiv", {1, GL_VALIDATE_STATUS, P}, 12, 4}, {"glGetProgramPipelineInfoLog", {1, 9, P, P}, 12, 4},
    {"glGetProgramInterfaceiv", {2, GL_UNIFORM, GL_ACTIVE_RESOURCES, P}, 16, 4}, {"glGetProgramResourceName", {2, GL_UNIFORM, 0, 9, P, P}, 20, 4},
};
// clang-format on

bool hasLengthOfItsOwn(const RowFacts& row) {
  if (row.isPrivate) return false;
  if (row.form == FormKind::Sized || row.form == FormKind::Counted || row.form == FormKind::Array) return true;
  return row.form == FormKind::Query && row.reply != ReplyKind::Answer && row.reply != ReplyKind::Bytes;
}

class FormLiterals : public ContextTest {
 protected:
  FormLiterals() {
    context().quirkFlags |= kQuirkQueryTable;  // so that queries reach the host
    linkProgramOfEveryType();
  }
};

// Each call writes a command of the bytes typed in, and waits for an answer of the bytes typed in.
TEST_F(FormLiterals, CallsHaveTheirLengths) {
  std::map<std::string, const RowFacts*> rowOf;
  for (const RowFacts& row : allRows()) rowOf[row.name] = &row;
  static uint8_t memory[3][256];
  for (const Literal& literal : kLiterals) {
    SCOPED_TRACE(literal.routine);
    const RowFacts& row = *rowOf.at(literal.routine);
    std::vector<uint64_t> values = literal.arguments;
    for (size_t i = 0, array = 0; i < values.size(); ++i) {
      if (values[i] == P) values[i] = reinterpret_cast<uintptr_t>(memory[array++]);
    }
    drop();
    host.submissions.clear();
    callRoutine(row, reinterpret_cast<Routine>(findProc(literal.routine)), values.data());
    EXPECT_EQ(takeError(), 0u);
    const bool asks = row.form == FormKind::Query;
    ASSERT_EQ(host.submissions.size(), asks ? 1u : 0u);
    const std::vector<uint8_t> written = asks ? host.submissions[0].stream : pending();
    ASSERT_GE(written.size(), 4u);
    uint32_t header;
    std::memcpy(&header, written.data(), 4);
    EXPECT_EQ(header, literal.command << 12 | static_cast<uint32_t>(row.opcode));
    EXPECT_EQ(written.size(), (literal.command + 3) / 4 * 4);
    EXPECT_EQ(asks ? host.submissions[0].replySize : 0, literal.reply);
  }
}

// No row with a length of its own is missing above, nor a name that chooses between two lengths.
TEST_F(FormLiterals, EveryRowIsThere) {
  std::map<std::string, std::set<uint64_t>> given;
  std::map<std::string, size_t> calls;
  for (const Literal& literal : kLiterals) {
    given[literal.routine].insert(literal.arguments.begin(), literal.arguments.end());
    ++calls[literal.routine];
  }
  for (const RowFacts& row : allRows()) {
    if (!hasLengthOfItsOwn(row)) continue;
    EXPECT_GE(calls[row.name], 1 + row.keys.size()) << row.name;
    for (const GLenum key : row.keys) EXPECT_TRUE(given[row.name].contains(key)) << row.name << " " << key;
  }
}

}  // namespace
}  // namespace qv::test
