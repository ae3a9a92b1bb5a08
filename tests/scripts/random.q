# Seeding the host's random source reproduces every draw.
randomize(2024):
a := [random(), random(), random()]:
randomize(2024):
b := [random(), random(), random()]:
evalb(a = b);
evalb(a[1] = a[2]);
randomize(7):
evalb(random() = a[1]);
# draws lie in [0, 1)
Digits := 40:
r := random():
evalb(0 <= r and r < 1);
Digits := 10:
type(r, float);
randomize(-1);
