# CSV files: numbers read at Digits (integers exact), missing values
# undefined, clear errors for ragged and non-numeric files.
M := ImportMatrix("data/numbers.csv", header = true);
evalb(M[3, 1] = evalf(1/10)), whattype(M[1, 1]), whattype(M[1, 2]);
Digits := 30: v30 := ImportMatrix("data/numbers.csv", header = true)[3, 1]:
evalb(v30 = evalf(1/10)), evalb(v30 = M[3, 1]); Digits := 10:
ImportMatrix("data/ragged.csv", delimiter = ";");
ImportMatrix("data/text.csv");
ImportMatrix("data/sample.csv");
ImportMatrix("data/sample.csv", header = true);
ImportMatrix("data/no-such-file.csv");
ImportMatrix("data/numbers.csv", delimiter = ",,");
V := ImportVector("data/column.csv");
ImportVector("data/numbers.csv", header = true);
# ExportMatrix writes floats with all their digits, so that ImportMatrix at
# the same Digits reads back what prints the same; it says how many bytes
Digits := 20: X := Matrix([[evalf(1/3), -2.], [1.5e-30, evalf(undefined)]]):
ExportMatrix("exported.csv", X);
Y := ImportMatrix("exported.csv");
evalb(convert(Y, string) = convert(X, string)); Digits := 10:
ExportMatrix("exported.csv", Vector[row]([1, 2, 3]), delimiter = ";", header = ["a", "b;c", "d"]);
ImportMatrix("exported.csv", delimiter = ";", header = true);
ExportMatrix("exported.csv", 5);
# read runs a file's statements; those ended by ';' show when read does
read "data/part.q";
x, y, z;
read "data/part.q":
read "data/no-such.q";
read "data/loop.q";
