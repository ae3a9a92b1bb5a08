# Arithmetic on rtables: element by element, by scalars, and the product .
A := Matrix([[1, 2], [3, 4]]): B := Matrix([[0, 1], [1, 1/2]]):
A + B;
A - B;
2 * A, A * 2.5, A / 2, -A;
A . B;
v := Vector([1, -1]): w := Vector[row]([2, 3]):
A . v;
w . A;
w . v;
v . v;
v . w;
Transpose(A), Transpose(v), Transpose(w);
Transpose(Matrix([[1, 2, 3], [4, 5, 6]]));
Matrix([[1.5, 2]], datatype = float[8]) + Matrix([[1, 1]], datatype = float[8]);
Vector([1, 2], datatype = integer[1]) * 100;
3 . 4;
A * B;
A + v;
A + 1;
Matrix(2, 3) . Matrix(2, 3);
# seq, for and add visit the elements of any rtable, row by row
seq(x^2, x = A);
add(x, x = Vector([1, 2, 3]));
for x in Matrix([[1, 2], [3, 4]]) do x end do;
