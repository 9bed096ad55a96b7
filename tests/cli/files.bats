@test "x" { true; }
