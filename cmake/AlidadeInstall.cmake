# filled below
