#!/usr/bin/env Rscript
# R's package lhs: one of its functions, called again and again. Arguments and files as improvements.py says.
#
# None of the functions knows phi-p, so that the best of their designs is chosen here. improvedLHS and maximinLHS build
# a design point by point. optimumLHS and geneticLHS begin with few sweeps or generations, their defaults; where that
# took less than a twentieth of the time, calls with more of them follow.
suppressPackageStartupMessages(library(lhs))

arguments <- commandArgs(trailingOnly = TRUE)
method <- arguments[1]
criterion <- arguments[2]
n <- as.integer(arguments[3])
k <- as.integer(arguments[4])
seconds <- as.numeric(arguments[5])
folder <- arguments[7]
if (criterion != "phip") stop("lhs does not optimise the centered discrepancy")
set.seed(as.integer(arguments[6]))

start <- proc.time()[["elapsed"]]
elapsed <- function() proc.time()[["elapsed"]] - start

is_quick <- function() calls > 0 && first_call < seconds / 20
next_design <- switch(method,
    maximin = function() maximinLHS(n, k),
    improved = function() improvedLHS(n, k, dup = 5),
    optimum = function() if (is_quick()) optimumLHS(n, k, maxSweeps = 20, eps = 0.001) else optimumLHS(n, k),
    genetic = function() {
        geneticLHS(n, k, pop = 100, gen = if (is_quick()) 100 else 4, pMut = 0.25, criterium = "Maximin")
    }
)

write_design <- function(levels) {
    written <- file.path(folder, "unfinished")
    colnames(levels) <- paste0("x", seq_len(k))
    write.csv(levels, written, row.names = FALSE, quote = FALSE)
    file.rename(written, file.path(folder, sprintf("%.0f.csv", 1000 * elapsed())))
}

best <- Inf
calls <- 0
first_call <- 0
while (elapsed() < seconds) {
    levels <- apply(next_design(), 2, rank)
    value <- sum(dist((levels - 1) / (n - 1))^-20)^(1 / 20)
    if (value < best) {
        best <- value
        write_design(levels)
    }
    if (calls == 0) first_call <- elapsed()
    calls <- calls + 1
}
