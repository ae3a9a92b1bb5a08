read "data/loop.q";
