"""The five layers of `compare` by Blender's compositor: blender -b -P blender_layers.py -- OUT IN..."""
import sys

import bpy

target, *sources = sys.argv[sys.argv.index("--") + 1:]
scene = bpy.context.scene
scene.use_nodes = True
scene.render.use_sequencer = False
scene.view_settings.view_transform = "Raw"
tree = scene.node_tree
tree.nodes.clear()

below = None
for path in sources:
    image = bpy.data.images.load(path)
    image.alpha_mode = "PREMUL"
    scene.render.resolution_x, scene.render.resolution_y = image.size
    read = tree.nodes.new("CompositorNodeImage")
    read.image = image
    graded = tree.nodes.new("CompositorNodeMixRGB")
    graded.blend_type = "MULTIPLY"
    graded.inputs[2].default_value = (0.8, 0.8, 0.8, 0.8)
    tree.links.new(read.outputs["Image"], graded.inputs[1])
    if below is None:
        below = graded
        continue
    over = tree.nodes.new("CompositorNodeAlphaOver")
    over.use_premultiply = False
    tree.links.new(below.outputs[0], over.inputs[1])
    tree.links.new(graded.outputs[0], over.inputs[2])
    below = over

tree.links.new(below.outputs[0], tree.nodes.new("CompositorNodeComposite").inputs["Image"])
render = scene.render
render.resolution_percentage = 100
render.filepath = target
render.image_settings.file_format = "OPEN_EXR"
render.image_settings.color_mode = "RGBA"
render.image_settings.color_depth = "16"
render.image_settings.exr_codec = "NONE"
bpy.ops.render.render(write_still=True)
