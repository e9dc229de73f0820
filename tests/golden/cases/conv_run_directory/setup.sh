mkdir -p out
