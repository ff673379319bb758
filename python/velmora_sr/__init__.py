"""One larger, cleaner picture of one to eight frames of a scene, by the burst stage of libvelmora_sr.

    big = velmora_sr.upscale(photo, 2)
    big, report = velmora_sr.fuse([first, second, third], 2)

`velmora_sr.camera` has the calls for the cameras of phones, on one frame or two.

Frames and pictures are arrays of uint8, H rows of W samples, 16 to 65535 each:

    grey  (H, W): full-range luma
    RGB   (H, W, 3): R, G, B
    YUV   a tuple (y, u, v) of (H, W) and twice ((H + 1) // 2, (W + 1) // 2)

A picture has the form of its reference frame. YUV and grey frames go to the library where they lie,
whatever their strides, unless they are transposed, mirrored left to right or repeat samples. `planes`
makes views of a raw NV12, NV21 or I420 block, `block` makes such a block of a picture. RGB passes
through full-range BT.601 (JFIF) 4:2:0: chroma is the mean of 2 x 2 pixels, and is interpolated linearly
between their centres on the way back. Results equal those of `velmora-sr` byte for byte; of RGB, those
of the tool on x86, since libyuv rounds otherwise elsewhere.

Calls release the interpreter's lock while the library works. They may be made from any number of
threads; those on one `Burst` wait for each other. Ctrl-C stops them within about a tenth of a second.

Geometry: sample (0, 0) is the centre of the top-left pixel, the first and last samples of the picture
lie on the first and last of the region, and a chroma sample lies in the middle of its four luma samples.

Sources: registration by Gauss-Newton, Lucas and Kanade (1981), with the weights of Geman and McClure
(1985); noise from second differences, Immerkaer (1996); back projection, Irani and Peleg (1991);
restoration, Dabov et al. (2007). docs/burst.md has the formulas, burst.h what the library promises.
"""
from ._burst import Burst, FrameReport, Report, Use
from ._calls import Registration, fuse, register, upscale
from ._library import Error
from ._pictures import Frame, Picture, block, planes
from ._values import Region

__version__ = "1.2.6"
__all__ = [
    "Burst", "Error", "Frame", "FrameReport", "Picture", "Region", "Registration", "Report", "Use", "block",
    "fuse", "planes", "register", "upscale",
]
