# The example pictures of doc/: one of each kind of plot. From the top of the
# repository: build/bin/quarn doc/plots.q
randomize(2024):

# A function on an interval: the standard normal density.
plot(x -> exp(-x^2/2)/sqrt(2*Pi), -4..4, output = "doc/plot-function.png",
     title = "standard normal density", xlabel = "x", ylabel = "density");

# Data as points: 100 gamma variates (scale 2, shape 3) in the order drawn.
s := QuarnGammaRandomSample(100, 2, 3):
plot(s, output = "doc/plot-data.png", title = "100 gamma(2, 3) variates", xlabel = "draw", ylabel = "value");

# A histogram of 2000 normal variates in 30 bins.
z := QuarnNormalRandomSample(2000, 0, 1):
histogram(z, 30, output = "doc/histogram.png", title = "2000 normal variates", xlabel = "x", ylabel = "count");

# A kernel density estimate of the 2000 variates on 128 equally spaced points
# of [-4, 4]: Gaussian kernel, bandwidth 0.3.
kde := QuarnKernelDensity(z, Vector([]), 0, 0.3, 128, true, -4, 4):
densityplot(kde, -4..4, output = "doc/densityplot.png", title = "kernel density estimate, bandwidth 0.3",
            xlabel = "x", ylabel = "density");
