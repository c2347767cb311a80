# The scenes, one source file each; included by whoever builds or runs them.
set(QV_PICTURES clear_colours triangle run_breaks lit_list matrix_stacks rects_points_lines depth_blend_fog
    short_primitives shader_stripes shader_reflection assembly_programs framebuffer_objects queries_and_syncs
    separate_programs buffers client_arrays images transform_feedback uniform_blocks attrib_stacks list_states picking
    evaluators utility_library)
# Those with a main function of their own.
set(QV_PICTURES_ALONE core_textures drawables resize shared_threads)
