# rtables: the constructor's options (every data type code 0-8, storage,
# order, element type name, index range), indexing and element assignment.
v := Vector([1, 2/3, x]);
v[3];
v[3] := 7:
v;
Vector[row]([1, 2]);
Vector(3);
Vector(4, i -> i^2);
Array(0..2, [5, 6, 7]);
A := Array(-1..1, datatype = float[8], fill = 2.5);
A[-1];
A[0] := 1/4:
A;
# data types by name and by code
Array(1..2, [1, 2], datatype = anything);
Array(1..2, [1, 2], datatype = complex(anything));
Array(1..2, [1, 1 + 2.5*I], datatype = complex);
Array(1..3, [-128, 0, 127], datatype = integer[1]);
Array(1..2, [-32768, 32767], datatype = integer[2]);
Array(1..2, [-2147483648, 2147483647], datatype = integer[4]);
Array(1..2, [-9223372036854775808, 9223372036854775807], datatype = integer[8]);
Array(1..2, [0.1, 1/3], datatype = float[8]);
Array(1..2, [2 + 3*I, 0.5], datatype = complex[8]);
Array(1..2, [0.1, 1/3], datatype = float[4]);
for c from 0 to 8 do Array(1..1, datatype = c) end do;
# element type names
Vector([1, 2], datatype = sfloat);
Vector([1, 2], datatype = complex(sfloat));
# two dimensions, both orders
M := Matrix([[1, 2, 3], [4, 5, 6]]);
M[2, 3];
M[1, 2] := 20:
M;
C := Array(1..2, 1..3, (i, j) -> 10*i + j, datatype = integer[4], order = C_order);
C[2, 1];
convert(C, list);
Matrix(2);
Matrix(2, 3, fill = 1.5, datatype = float[8]);
# sparse storage
S := Array(1..6, storage = sparse, datatype = float[8]);
S[4] := 2.5:
S;
S[4], S[5];
T := Matrix(2, 2, storage = sparse);
T[2, 1] := x:
T;
Vector([0, 3, 0], storage = sparse, datatype = integer[2]);
# bounds and helpers
lowerbound(A, 1), upperbound(A, 1);
convert(Vector([a, b]), list);
nops(A);
# long rtables print their ends
Vector(20, i -> i);
# a read-only rtable
R := Vector([1, 2], readonly = true):
R[1];
R[1] := 5;
# errors
v[4];
v[0];
M[1];
M[1, 1.5];
Array(1..2, datatype = integer[3]);
Array(1..2, datatype = 9);
Array(1..2, storage = weird);
Array(1..2, order = sideways);
Array(1..2, [1000], datatype = integer[1]);
Array(1..2, [x], datatype = float[8]);
Vector(1..2, 1..2);
