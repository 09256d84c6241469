#ifndef QuillmarshEngine_Tools_Demo_RenderDemo_h
#define QuillmarshEngine_Tools_Demo_RenderDemo_h

/* The demo's rendering to pictures: with --render DIR the host draws its demo scene (or a packed
   scene file) with the reference renderer, headless, and writes the frames as PNG files */

/* Whether the arguments ask for rendering */
bool renderDemoRequested(int argc, char** argv);

/* Parses the rendering arguments, renders and writes the frames; returns the exit code */
int renderDemo(int argc, char** argv);

#endif
