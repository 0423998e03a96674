title "An unusual LED-wall mode on an HDMI input, the HDR curve, a test pattern"
show edid 1 3840x1080@50
show hdr hdr10 --peak 1000 --ambient 30
show pattern 3 --block 16 16 --first 20 -5
